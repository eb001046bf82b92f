#include "platform/IdleSourceKinds.h"

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

using Instant = std::chrono::system_clock::time_point;

Instant instant(const timespec& time) {
    return Instant(std::chrono::duration_cast<Instant::duration>(
        std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec)));
}

bool isNumber(std::string_view text) {
    return !text.empty() &&
           std::ranges::all_of(text, [](char each) { return each >= '0' && each <= '9'; });
}

// Not "ptmx": reading there is reading output.
bool isPseudoTerminal(std::string_view name) {
    return isNumber(name);
}

// Not "tty" itself, which stands for each process's own, and not what the kernel calls tty for
// want of a better word, such as ttyUSB0: devices write there, not people.
bool isConsole(std::string_view name) {
    return (name.starts_with("tty") && isNumber(name.substr(3))) ||
           (name.starts_with("ttyS") && isNumber(name.substr(4)));
}

class TerminalsIdleSource final : public IdleSource {
  public:
    TerminalsIdleSource(std::filesystem::path devices, std::uint32_t userId, idle::WallClock now)
        : m_devices(std::move(devices)), m_userId(userId), m_now(std::move(now)) {}

    [[nodiscard]] std::string_view name() const override { return "terminals"; }

    [[nodiscard]] std::optional<std::chrono::milliseconds> read() override {
        m_newestTyped.reset();
        m_newestOpened.reset();
        scan(m_devices / "pts", isPseudoTerminal);
        scan(m_devices, isConsole);
        const auto newest = m_newestTyped ? m_newestTyped : m_newestOpened;
        if (!newest)
            return std::nullopt;
        return std::chrono::floor<std::chrono::milliseconds>(m_now() - *newest);
    }

  private:
    void scan(const std::filesystem::path& path, bool (*isTerminal)(std::string_view)) {
        const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(path.c_str()), ::closedir);
        if (!directory)
            return;
        while (const dirent* entry = ::readdir(directory.get())) {
            struct stat status {};
            if (!isTerminal(entry->d_name) ||
                fstatat(dirfd(directory.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
                status.st_uid != m_userId)
                continue;
            const auto accessed = instant(status.st_atim);
            // Opening sets all its times to the same moment, give or take what is set at log-in.
            auto& newest = accessed > instant(status.st_ctim) ? m_newestTyped : m_newestOpened;
            newest = std::max(newest.value_or(accessed), accessed);
        }
    }

    std::filesystem::path m_devices;
    std::uint32_t m_userId;
    idle::WallClock m_now;
    std::optional<Instant> m_newestTyped;
    std::optional<Instant> m_newestOpened;
};

} // namespace

std::unique_ptr<IdleSource> idle::terminalsIdleSource(std::filesystem::path devices,
                                                      std::uint32_t userId, WallClock now) {
    return std::make_unique<TerminalsIdleSource>(std::move(devices), userId, std::move(now));
}
