#include "hooks/CodexTrust.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <utility>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QSocketNotifier>
#include <QTimer>
#include <fcntl.h>
#include <unistd.h>

#include "core/Descriptor.h"
#include "hooks/CodexDialogue.h"
#include "platform/ExecutableFile.h"

namespace fs = std::filesystem;

namespace {

// From the request to end until it is enforced.
constexpr std::chrono::milliseconds grace{2000};
// For the system to end what was killed.
constexpr std::chrono::milliseconds killTime{100};

// Codex in a process group of its own, because it may be a script around the real program. What it
// says comes through a pipe of ours: QProcess does not tell that a program has closed its output.
class Program final : public QProcess {
  public:
    Program(const fs::path& path, const std::optional<DescriptorLimit>& limit) : m_limit(limit) {
        // Without a "/", it would be looked up in PATH.
        std::error_code error;
        setProgram(QFile::decodeName(fs::absolute(path, error).c_str()));
        setArguments(
            {QStringLiteral("app-server"), QStringLiteral("--listen"), QStringLiteral("stdio://")});
        setStandardOutputFile(nullDevice());
        setStandardErrorFile(nullDevice());
    }

    // @return where its output is read, without waiting; the end comes at once when it cannot be
    // started. Nothing when the system has no pipe to give.
    [[nodiscard]] Descriptor begin() {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            return {};
        Descriptor output(ends[0]);
        ::fcntl(output.number(), F_SETFL, O_NONBLOCK);
        const Descriptor itsOutput(ends[1]);
        // Between fork and exec: nothing but what is async-signal-safe.
        setChildProcessModifier([limit = m_limit, itsEnd = ends[1]] {
            ::dup2(itsEnd, STDOUT_FILENO);
            ::setpgid(0, 0);
            for (int signal = 1; signal < NSIG; ++signal)
                ::signal(signal, SIG_DFL);
            sigset_t none;
            ::sigemptyset(&none);
            ::sigprocmask(SIG_SETMASK, &none, nullptr);
            if (limit)
                limit->restore();
        });
        // Before its signal actions are set, a signal would run ours in it.
        sigset_t all;
        sigset_t before;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before);
        start();
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
        m_id = static_cast<pid_t>(processId());
        if (m_id > 0)
            ::setpgid(m_id, m_id); // Whoever comes first of the two.
        connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
                [this] { endNow(); });
        return output;
    }

    // Ends it, and deletes this once it has ended. QProcess's own destructor would wait.
    void letGo() {
        if (hasEnded()) {
            delete this;
            return;
        }
        signalGroup(SIGTERM);
        connect(this, &QProcess::stateChanged, this, [this] {
            if (hasEnded())
                deleteLater();
        });
        QTimer::singleShot(grace, Qt::PreciseTimer, this, [this] { kill(); });
    }

  private:
    void kill() {
        signalGroup(SIGKILL);
        m_isKilled = true;
        if (hasEnded())
            deleteLater();
    }

    // When no loop is left that could do it.
    void endNow() {
        signalGroup(SIGTERM);
        waitForFinished(static_cast<int>(grace.count()));
        signalGroup(SIGKILL);
        waitForFinished(static_cast<int>(killTime.count()));
        m_isKilled = true;
    }

    // With all that it has started. Nobody else gets its number while one of them is there.
    [[nodiscard]] bool hasEnded() const {
        return state() == NotRunning && (m_isKilled || m_id <= 0 || ::kill(-m_id, 0) != 0);
    }

    void signalGroup(int signal) const {
        if (m_id > 0)
            ::kill(-m_id, signal);
    }

    const std::optional<DescriptorLimit> m_limit;
    pid_t m_id = 0;
    bool m_isKilled = false;
};

} // namespace

class CodexTrustCheck::Run final : public QObject {
  public:
    Run(const std::optional<fs::path>& codex, const fs::path& home,
        std::chrono::milliseconds timeout, Result result,
        const std::optional<DescriptorLimit>& limit)
        : m_dialogue(home), m_timeout(timeout), m_result(std::move(result)) {
        if (codex)
            m_program = new Program(*codex, limit);
        // Even starting may fail at once, and that is to come from the loop, too.
        QTimer::singleShot(0, this, [this] { start(); });
    }

    ~Run() override {
        stopListening();
        letProgramGo();
    }

  private:
    void start() {
        if (m_program)
            m_output = m_program->begin();
        if (!m_output.isValid()) {
            finish(std::nullopt);
            return;
        }
        m_notifier = new QSocketNotifier(m_output.number(), QSocketNotifier::Read);
        connect(m_notifier, &QSocketNotifier::activated, this, [this] { hear(); });
        connect(&m_timer, &QTimer::timeout, this, [this] { finish(std::nullopt); });
        say(CodexDialogue::opening());
        m_timer.setSingleShot(true);
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.start(m_timeout);
    }

    void say(std::string_view text) {
        // A failure shows in the end of its output or of the time.
        if (m_program->state() != QProcess::NotRunning)
            m_program->write(text.data(), static_cast<qint64>(text.size()));
    }

    void hear() {
        std::array<char, 65536> bytes{};
        const ssize_t count = ::read(m_output.number(), bytes.data(), bytes.size());
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        if (count <= 0) {
            finish(std::nullopt);
            return;
        }
        const auto step = m_dialogue.take({bytes.data(), static_cast<std::size_t>(count)});
        if (!step.toWrite.empty())
            say(step.toWrite);
        if (step.hasEnded)
            finish(step.trust);
    }

    // The first call ends it. The owner may destroy this in the result.
    void finish(std::optional<Hooks::CodexTrust> trust) {
        m_timer.stop();
        stopListening();
        letProgramGo();
        if (const Result result = std::exchange(m_result, nullptr))
            result(trust);
    }

    // It may be the notifier that calls.
    void stopListening() {
        if (QSocketNotifier* notifier = std::exchange(m_notifier, nullptr)) {
            notifier->setEnabled(false);
            notifier->deleteLater();
        }
        m_output.reset();
    }

    void letProgramGo() {
        if (Program* program = std::exchange(m_program, nullptr))
            program->letGo();
    }

    CodexDialogue m_dialogue;
    const std::chrono::milliseconds m_timeout;
    Result m_result;
    Program* m_program = nullptr; ///< deletes itself when it is let go
    Descriptor m_output;
    QSocketNotifier* m_notifier = nullptr;
    QTimer m_timer;
};

CodexTrustCheck::CodexTrustCheck(const std::optional<fs::path>& codex, const fs::path& home,
                                 std::chrono::milliseconds timeout, Result result,
                                 std::optional<DescriptorLimit> limit)
    : m_run(std::make_unique<Run>(codex, home, timeout, std::move(result), limit)) {}

CodexTrustCheck::~CodexTrustCheck() = default;

std::optional<fs::path> findCodex(const EnvironmentLookup& environment, const fs::path& home) {
    std::vector<fs::path> candidates;
    if (const auto chosen = environment("TAMSELL_CODEX_BIN"))
        candidates.emplace_back(*chosen);
    candidates.insert(candidates.end(),
                      {"/opt/homebrew/bin/codex", "/usr/local/bin/codex", home / ".local/bin/codex",
                       "/Applications/ChatGPT.app/Contents/Resources/codex-cli/bin/codex"});
    const auto found = std::ranges::find_if(candidates, isExecutable);
    return found == candidates.end() ? std::nullopt : std::optional(*found);
}
