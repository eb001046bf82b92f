# Debian's packages, by what needs them, and how they are installed; npm's for the phone page and the tests. Sourced by ./dev.

build_packages=(
  g++ cmake ninja-build pkg-config ccache mold python3
  qt6-base-dev qt6-svg-dev qt6-websockets-dev libsimdjson-dev libutf8proc-dev libssl-dev libqrencode-dev
  libboost-dev libsqlite3-dev libcurl4-openssl-dev libsystemd-dev libxcb1-dev libxcb-screensaver0-dev libwayland-dev wayland-protocols
)
test_packages=(
  libgtest-dev libgmock-dev curl openssl libnss-wrapper procps
  nettle-dev zbar-tools qrencode python3-websockets python3-cryptography
  dbus xvfb xdotool openbox xfce4-panel
  desktop-file-utils appstream
)
page_packages=(chromium nodejs npm)
# The fonts that the page asks for, so that its pictures are the same everywhere.
shots_packages=(fonts-inter fonts-jetbrains-mono fonts-noto-cjk)
check_packages=(clang clang-format clang-tidy git nodejs npm)
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
    case "$package" in
      nodejs) ! command -v node >/dev/null || continue ;;
      npm) ! command -v npm >/dev/null || continue ;;
    esac
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

# install_npm_tools [FOLDER...]: what the phone page and the tests take from npm, exactly as their locks name it.
install_npm_tools() {
  local folder
  [ $# -gt 0 ] || set -- phone tests/page tests/phone
  for folder in "$@"; do
    [ "$folder/package-lock.json" -nt "$folder/node_modules/.package-lock.json" ] || continue
    echo "dev: installing what $folder needs from npm"
    (cd "$folder" && npm ci --no-audit --no-fund --ignore-scripts --loglevel=error >/dev/null)
  done
}
