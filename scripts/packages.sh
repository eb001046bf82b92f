# Debian's packages, by what needs them, and how they are installed. Sourced by ./dev.

build_packages=(
  g++ cmake ninja-build pkg-config ccache mold
  qt6-base-dev libsimdjson-dev libutf8proc-dev libssl-dev
  libsystemd-dev libxcb1-dev libxcb-screensaver0-dev libwayland-dev wayland-protocols
)
test_packages=(
  libgtest-dev libgmock-dev python3 curl openssl libnss-wrapper procps
  dbus xvfb xdotool
)
check_packages=(clang clang-format clang-tidy git python3)
fuzz_packages=(clang libclang-rt-14-dev)
bench_packages=(nginx-light nodejs curl)

is_installed() {
  [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# install_packages NAME...: those that are missing, with sudo when need be, removing nothing.
install_packages() {
  local missing=() package
  if ! command -v dpkg-query >/dev/null; then
    echo "dev: not a Debian system; these have to be there: $*" >&2
    return 0
  fi
  for package in "$@"; do
    # Another source of a program serves as well as Debian's package of it.
    [ "$package" != nodejs ] || ! command -v node >/dev/null || continue
    is_installed "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  local as_root=()
  [ "$(id -u)" = 0 ] || as_root=(sudo)
  echo "dev: installing ${missing[*]}"
  "${as_root[@]}" apt-get -qq update
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get -qq install --yes --no-remove --no-install-recommends "${missing[@]}" >/dev/null
}
