#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include "core/AtomicFile.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Checks.h"
#include "ctl/Shown.h"
#include "platform/ChildProcess.h"
#include "platform/ExecutableFile.h"

namespace fs = std::filesystem;

namespace ctl {

namespace {

using Level = Finding::Level;

constexpr std::string_view install = "tamsellctl hooks install";
// It takes a millisecond; a machine that is just waking up takes longer.
constexpr std::chrono::seconds patience{5};
// What of the system's words, or of the program's, a line has room for.
constexpr std::size_t maximumWords = 200;

bool isExecutable(const struct stat& status) {
    return S_ISREG(status.st_mode) && (status.st_mode & S_IXUSR) != 0;
}

// The agents hand the quoted path to a shell, in which these still mean something.
bool isMisread(const fs::path& path) {
    return path.string().find_first_of("\"$`\\\n") != std::string::npos;
}

// Settings with which a hook can reach no daemon: neither is an address of one.
class Nowhere {
  public:
    Nowhere() {
        std::string pattern = (fs::temp_directory_path() / "tamsellctl-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            throw std::system_error(errno, std::generic_category(), pattern);
        m_path = pattern;
        atomicfile::write(m_path / "config.json", R"({"host": "192.0.2.1", "port": 0})", 0600);
    }
    Nowhere(const Nowhere&) = delete;
    Nowhere& operator=(const Nowhere&) = delete;
    ~Nowhere() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    [[nodiscard]] const fs::path& path() const { return m_path; }

  private:
    fs::path m_path;
};

std::string inWords(std::string_view said) {
    return text::visible(text::prefix(text::trimmed(said), maximumWords, 4 * maximumWords));
}

// Why it does not do what agents expect of it; nothing when it does.
std::optional<std::string> troubleOf(ChildProcess& process) {
    if (!process.wait(ChildProcess::Clock::now() + patience))
        return localized("%lld 秒內沒有結束", {static_cast<double>(patience.count())});
    const auto code = process.exitCode();
    const std::string errors = inWords(process.errors());
    if (!code)
        return localized("被訊號中斷");
    if (*code != 0)
        return localized("結束碼是 %lld", {static_cast<double>(*code)}) +
               (errors.empty() ? "" : localized("：%@", {errors}));
    if (!process.output().empty())
        return localized("不該有輸出，卻有 %@", {inWords(process.output())});
    return std::nullopt;
}

} // namespace

Finding checkHookProgram(const Context& context, bool isCurrent) {
    const std::string subject = localized("hook 程式");
    const fs::path& path = context.locations.hookExecutable;
    const auto repairable = [&](const std::string& text) {
        return Finding{Level::problem, subject, text, std::string(install), Mend::hookProgram};
    };
    struct stat status {};
    if (!context.bundle.auxiliaryExecutable("tamsell-hook"))
        return {Level::problem, subject, localized("安裝的 Tamsell 裡缺少 tamsell-hook"),
                localized("重新安裝 Tamsell")};
    if (::stat(path.c_str(), &status) != 0)
        return repairable(localized("還沒有 %@", {shown(path)}));
    if (!isExecutable(status))
        return repairable(localized("%@ 不能執行", {shown(path)}));
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return repairable(localized("其他使用者可以改 %@", {shown(path)}));
    if (isMisread(path))
        return {Level::problem, subject, localized("shell 會誤解 %@ 裡的符號", {shown(path)}),
                localized("把 TAMSELL_HOME 換成沒有這些符號的路徑")};
    if (isOnNoexecMount(path))
        return {Level::problem, subject,
                localized("%@ 所在的檔案系統不准執行程式（noexec）", {shown(path)}),
                localized("把 TAMSELL_HOME 換成別處的路徑，再執行 %@；或請管理者改掛載的選項",
                          {std::string(install)})};
    if (!isCurrent)
        return repairable(localized("%@ 不是最新的", {shown(path)}));
    return {Level::good, subject, shown(path), ""};
}

Findings checkHookRun(const Context& context) {
    const fs::path& path = context.locations.hookExecutable;
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || !isExecutable(status) || isMisread(path) ||
        isOnNoexecMount(path))
        return {};
    const std::string subject = localized("執行 hook");
    try {
        const Nowhere nowhere;
        // Through a shell, as agents run it.
        ChildProcess process(
            {.arguments = {"sh", "-c", "TAMSELL_HOME=\"$1\" " + context.hooks.claudeCommand(), "sh",
                           nowhere.path().string()},
             .input = {}});
        const auto trouble = troubleOf(process);
        if (!trouble)
            return {{Level::good, subject, localized("空的事件沒有問題"), ""}};
        return {{Level::problem, subject, localized("%@ 執行失敗：%@", {shown(path), *trouble}),
                 context.hooks.status().scriptCurrent ? localized("重新安裝 Tamsell")
                                                      : std::string(install)}};
    } catch (const std::exception& error) {
        return {
            {Level::notice, subject, localized("沒有試成：%@", {text::visible(error.what())}), ""}};
    }
}

} // namespace ctl
