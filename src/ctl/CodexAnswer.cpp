#include "ctl/CodexAnswer.h"

#include <QCoreApplication>

#include "hooks/CodexTrust.h"

namespace ctl {

std::optional<Hooks::CodexTrust> askCodex(const Context& context,
                                          const std::filesystem::path& codex) {
    int count = 1;
    char name[] = "tamsellctl";
    char* arguments[] = {name, nullptr};
    const QCoreApplication application(count, arguments);
    std::optional<Hooks::CodexTrust> trust;
    const CodexTrustCheck check(codex, context.locations.home, std::chrono::seconds(8),
                                [&](const std::optional<Hooks::CodexTrust>& answer) {
                                    trust = answer;
                                    QCoreApplication::quit();
                                });
    QCoreApplication::exec();
    return trust;
}

} // namespace ctl
