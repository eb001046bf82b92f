#include "platform/LaunchSocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <list>
#include <span>
#include <thread>

#include <QTimer>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "core/Base64Url.h"
#include "core/Descriptor.h"
#include "crypto/Hash.h"
#include "platform/SocketPoller.h"

using namespace std::chrono_literals;

namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::string_view requestWord = "show ";
constexpr std::string_view shownLine = "shown\n";
constexpr std::string_view headlessLine = "headless\n";
// Tokens are an identifier with the names of a program and a computer in it.
constexpr std::size_t maximumToken = 1000;
constexpr std::size_t maximumRequest = requestWord.size() + maximumToken + 1;
constexpr std::size_t maximumAnswer = headlessLine.size();

// A later launch speaks as soon as it is connected.
constexpr auto patienceWithVisitor = 2s;
constexpr std::size_t maximumVisitors = 16;
// Until descriptors may be free again.
constexpr auto acceptAgain = 1s;
// Between two tries to reach a first launch that has just begun.
constexpr auto askAgain = 50ms;

// Directories for run-time files may lose what nobody used for hours, unless the sticky bit is set
// (freedesktop.org, "XDG Base Directory", Environment variables).
constexpr mode_t ownersAlone = S_ISVTX | S_IRUSR | S_IWUSR;

[[noreturn]] void fail(int error, const fs::path& path) {
    throw std::system_error(error, std::generic_category(), path.string());
}

// Whether sockets in it can only be this user's.
bool isOwnDirectory(const fs::path& path) {
    struct stat status {};
    return path.is_absolute() && ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == ::geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0 &&
           ::access(path.c_str(), W_OK | X_OK) == 0; // Its file system may be read-only.
}

// The same for one directory however it is named, whether it exists yet or not.
fs::path oneSpellingOf(const fs::path& directory) {
    std::error_code error;
    fs::path result = fs::weakly_canonical(directory, error);
    if (error)
        result = directory;
    return result.has_filename() ? result : result.parent_path();
}

Descriptor makeSocket() {
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

// The address of what lies in an open directory, or of an open socket file: an address has room for
// 107 bytes, and data directories can have longer paths.
std::optional<sockaddr_un> addressThrough(const Descriptor& opened, const std::string& name = {}) {
    std::string path = "/proc/self/fd/" + std::to_string(opened.number());
    if (!name.empty())
        path += "/" + name;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return std::nullopt;
    std::ranges::copy(path, address.sun_path);
    return address;
}

// Who is at the other end, when that is this user.
std::optional<pid_t> ownProcessBehind(const Descriptor& socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket.number(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
        peer.uid != ::geteuid())
        return std::nullopt;
    return peer.pid;
}

bool isToken(std::string_view text) {
    return text.size() <= maximumToken && std::ranges::none_of(text, [](const char c) {
               return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
           });
}

// The token of a whole request.
std::optional<std::string_view> tokenIn(std::string_view request) {
    if (!request.starts_with(requestWord) || !request.ends_with('\n'))
        return std::nullopt;
    const auto token = request.substr(requestWord.size(), request.size() - requestWord.size() - 1);
    return isToken(token) ? std::optional(token) : std::nullopt;
}

// Nothing when another process has it.
std::optional<Descriptor> takeLock(const Descriptor& directory, const fs::path& path) {
    // A link could have another file made or locked, and a pipe could have one wait.
    constexpr int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    Descriptor lock(::openat(directory.number(), path.filename().c_str(), flags, ownersAlone));
    if (!lock.isValid())
        fail(errno, path);
    while (::flock(lock.number(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK)
            return std::nullopt;
        if (errno != EINTR)
            fail(errno, path);
    }
    return lock;
}

Descriptor listenAt(const Descriptor& directory, const fs::path& path) {
    const std::string name = path.filename().string();
    const auto address = addressThrough(directory, name);
    if (!address)
        fail(ENAMETOOLONG, path);
    // What a killed process has left; the lock says that nobody listens to it. Anything else of
    // that name is not ours to remove.
    struct stat status {};
    if (::fstatat(directory.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISSOCK(status.st_mode))
        ::unlinkat(directory.number(), name.c_str(), 0);
    Descriptor listener = makeSocket();
    // Linux gives the file the mode of the socket, so that it is never open to others.
    if (!listener.isValid() || ::fchmod(listener.number(), ownersAlone) != 0 ||
        ::bind(listener.number(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) !=
            0 ||
        ::listen(listener.number(), SOMAXCONN) != 0)
        fail(errno, path);
    return listener;
}

bool waitFor(const Descriptor& socket, short event, Clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd waited{socket.number(), event, 0};
        const int result =
            ::poll(&waited, 1, static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000)));
        if (result > 0)
            return true;
        if ((result < 0 && errno != EINTR) || Clock::now() >= deadline)
            return false;
    }
}

// What the other end says until it closes.
std::string answerOn(const Descriptor& socket, Clock::time_point deadline) {
    std::string answer;
    std::array<char, maximumAnswer + 1> buffer{};
    while (answer.size() <= maximumAnswer && waitFor(socket, POLLIN, deadline)) {
        const ssize_t count = ::recv(socket.number(), buffer.data(), buffer.size(), 0);
        if (count > 0)
            answer.append(buffer.data(), static_cast<std::size_t>(count));
        else if (count == 0 || (errno != EAGAIN && errno != EINTR))
            break;
    }
    return answer;
}

LaunchAnswer askOnce(const fs::path& path, std::string_view request, Clock::time_point deadline) {
    LaunchAnswer answer;
    // A link is opened itself, and so leads nowhere.
    const Descriptor file(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    const Descriptor socket = makeSocket();
    if (!file.isValid() || !socket.isValid())
        return answer;
    const auto address = addressThrough(file);
    if (!address || ::connect(socket.number(), reinterpret_cast<const sockaddr*>(&*address),
                              sizeof *address) != 0)
        return answer;
    const auto process = ownProcessBehind(socket);
    if (!process)
        return answer;
    answer.process = *process;
    // A new connection has room for all of it.
    if (::send(socket.number(), request.data(), request.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(request.size()))
        return answer;
    const std::string said = answerOn(socket, deadline);
    if (said == shownLine)
        answer.kind = LaunchAnswer::Kind::shown;
    else if (said == headlessLine)
        answer.kind = LaunchAnswer::Kind::headless;
    return answer;
}

} // namespace

fs::path launchSocketPath(const EnvironmentLookup& environment, const fs::path& dataDirectory) {
    const auto digest = hash::sha256(oneSpellingOf(dataDirectory).native());
    const std::string name =
        "tamsell-" + base64url::encode(std::span(digest).first<12>()) + ".socket";
    for (const fs::path& directory : {fs::path(environment("XDG_RUNTIME_DIR").value_or("")),
                                      fs::path("/run/user") / std::to_string(::geteuid())}) {
        if (isOwnDirectory(directory))
            return directory / name;
    }
    return dataDirectory / name;
}

class FirstLaunch::Implementation {
  public:
    Implementation(Descriptor directory, Descriptor lock, const fs::path& socket,
                   Interface interface)
        : m_directory(std::move(directory)),
          m_lock(std::move(lock)),
          m_listener(listenAt(m_directory, socket)),
          m_name(socket.filename().string()),
          m_interface(interface) {
        m_pause.setSingleShot(true);
        QObject::connect(&m_pause, &QTimer::timeout, &m_pause, [this] { listen(readable); });
        m_poller.add(m_listener.number(), readable, [this](std::uint32_t) { accept(); });
    }
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    ~Implementation() {
        ::unlinkat(m_directory.number(), m_name.c_str(), 0);
        // The lock's file stays: whoever has just opened it would lock a file without a name, and
        // the next one another. Closing alone would keep it locked while a forked child has it.
        ::flock(m_lock.number(), LOCK_UN);
    }

    std::function<void(const QString& token)> asked;

  private:
    static constexpr auto readable = SocketPoller::readable;

    struct Visitor {
        Descriptor socket;
        std::string said;
        QTimer patience;
    };
    using Place = std::list<Visitor>::iterator;

    void listen(std::uint32_t interest) { m_poller.setInterest(m_listener.number(), interest); }

    void accept() {
        Descriptor socket(
            ::accept4(m_listener.number(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket.isValid()) {
            // The one that waits would otherwise be told of again at once.
            if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
                listen(0);
                m_pause.start(acceptAgain);
            }
            return;
        }
        if (!ownProcessBehind(socket))
            return;
        // Whoever has kept silent the longest gives way.
        if (m_visitors.size() == maximumVisitors)
            dismiss(m_visitors.begin());
        const Place visitor = m_visitors.emplace(m_visitors.end());
        visitor->socket = std::move(socket);
        visitor->patience.setSingleShot(true);
        QObject::connect(
            &visitor->patience, &QTimer::timeout, &visitor->patience,
            [this, visitor] { dismiss(visitor); }, Qt::QueuedConnection);
        visitor->patience.start(patienceWithVisitor);
        try {
            m_poller.add(visitor->socket.number(), readable,
                         [this, visitor](std::uint32_t) { hear(visitor); });
        } catch (const std::system_error&) {
            dismiss(visitor); // It may try again.
        }
    }

    void hear(Place visitor) {
        std::array<char, maximumRequest + 1> buffer{};
        const ssize_t count = ::recv(visitor->socket.number(), buffer.data(), buffer.size(), 0);
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return;
        visitor->said.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        const bool isWhole = visitor->said.find('\n') != std::string::npos;
        if (count > 0 && !isWhole && visitor->said.size() < maximumRequest)
            return;
        const auto token = tokenIn(visitor->said);
        const bool isHeard = token && answer(visitor->socket);
        const QString activationToken = isHeard ? QString::fromUtf8(*token) : QString();
        dismiss(visitor);
        if (isHeard && m_interface == Interface::present)
            asked(activationToken); // Last: it may end this object.
    }

    // False when nobody waits for it any more: then nothing is to come up, either.
    [[nodiscard]] bool answer(const Descriptor& socket) const {
        const std::string_view line = m_interface == Interface::present ? shownLine : headlessLine;
        return ::send(socket.number(), line.data(), line.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(line.size());
    }

    void dismiss(Place visitor) {
        m_poller.remove(visitor->socket.number());
        m_visitors.erase(visitor);
    }

    Descriptor m_directory;
    Descriptor m_lock;
    Descriptor m_listener;
    std::string m_name;
    Interface m_interface;
    QTimer m_pause;
    std::list<Visitor> m_visitors; // The oldest first.
    SocketPoller m_poller;         // Goes before the sockets that it watches.
};

std::unique_ptr<FirstLaunch> FirstLaunch::claim(const fs::path& socket, Interface interface) {
    const fs::path parent = socket.parent_path();
    Descriptor directory(::open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory.isValid())
        fail(errno, parent);
    auto lock = takeLock(directory, fs::path(socket) += ".lock");
    if (!lock)
        return nullptr;
    return std::unique_ptr<FirstLaunch>(new FirstLaunch(std::make_unique<Implementation>(
        std::move(directory), *std::move(lock), socket, interface)));
}

FirstLaunch::FirstLaunch(std::unique_ptr<Implementation> implementation)
    : m_implementation(std::move(implementation)) {
    m_implementation->asked = [this](const QString& token) { Q_EMIT asked(token); };
}

FirstLaunch::~FirstLaunch() = default;

LaunchAnswer askFirstLaunch(const fs::path& socket, std::string_view activationToken,
                            std::chrono::milliseconds patience) {
    const auto deadline = Clock::now() + patience;
    std::string request(requestWord);
    if (isToken(activationToken))
        request += activationToken;
    request += '\n';
    for (;;) {
        const LaunchAnswer answer = askOnce(socket, request, deadline);
        const auto left = deadline - Clock::now();
        if (answer.kind != LaunchAnswer::Kind::silent || left <= 0ms)
            return answer;
        std::this_thread::sleep_for(std::min<Clock::duration>(left, askAgain));
    }
}
