#include "platform/QtWebSocketTask.h"

#include <algorithm>
#include <deque>
#include <system_error>
#include <utility>

#include <QNetworkProxy>
#include <QNetworkRequest>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTimer>
#include <QWebSocket>

#include "core/File.h"

namespace {

// A bundle of all public authorities is a quarter of this.
constexpr std::size_t maximumAuthoritiesFile = std::size_t{1} << 20;

// How long callbacks may go on in one turn of the loop: a peer can send a great many frames at
// once.
constexpr std::chrono::milliseconds slice{10};
// What a message takes that waits, beside its text.
constexpr std::size_t messageOverhead = 256;

// @throws std::runtime_error with a reason for a log line
QList<QSslCertificate> readAuthorities(const std::filesystem::path& path) {
    const QByteArray pem = QByteArray::fromStdString(file::read(path, maximumAuthoritiesFile));
    auto certificates = QSslCertificate::fromData(pem, QSsl::Pem);
    // Qt leaves out what it cannot read.
    if (certificates.isEmpty() || certificates.size() != pem.count("-----BEGIN CERTIFICATE-----"))
        throw std::runtime_error(path.string() + ": not a file of PEM certificates");
    return certificates;
}

// Kept, because reading them takes the loop up to a third of a second.
const QList<QSslCertificate>& systemAuthorities() {
    static const auto authorities = QSslConfiguration::systemCaCertificates();
    return authorities;
}

// The HTTP status of a refused handshake, which Qt tells nowhere but in its text. For 400 it has
// two texts without the number.
std::optional<int> statusIn(const QString& error) {
    if (error.contains(QLatin1String("Unknown error condition encountered")) ||
        error.contains(QLatin1String("Server requests a version")))
        return 400;
    constexpr QLatin1String before("http status code: ");
    const auto place = error.indexOf(before);
    if (place < 0)
        return std::nullopt;
    const int status = QStringView(error).mid(place + before.size(), 3).toInt();
    return status >= 100 ? std::optional(status) : std::nullopt;
}

std::string seconds(std::chrono::milliseconds time) {
    return std::to_string(std::chrono::ceil<std::chrono::seconds>(time).count()) + " s";
}

} // namespace

class QtWebSocketTask::Implementation final : public QObject {
  public:
    Implementation(std::string url, Handlers handlers, Scheduler& scheduler, Options options)
        : m_url(std::move(url)),
          m_handlers(std::make_shared<const Handlers>(std::move(handlers))),
          m_scheduler(scheduler),
          m_options(std::move(options)) {}

    ~Implementation() override { cancel(QWebSocketProtocol::CloseCodeGoingAway); }

    void resume() {
        if (m_state != State::idle)
            return;
        m_state = State::connecting;
        m_timer = m_scheduler.after(m_options.connectDeadline, [this] {
            fail("no connection within " + seconds(m_options.connectDeadline));
        });
        try {
            connectSocket();
        } catch (const std::exception& error) {
            fail(error.what());
        }
    }

    void send(std::string_view text) {
        if (m_state != State::open)
            return;
        m_socket->sendTextMessage(
            QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
        checkUnsent();
    }

    [[nodiscard]] std::size_t unsentBytes() const {
        if (!m_carrier)
            return 0;
        qint64 count = m_carrier->bytesToWrite();
        // Over TLS, that is only what has not been encrypted yet.
        if (const auto* const tls = qobject_cast<QSslSocket*>(m_carrier))
            count += tls->encryptedBytesToWrite();
        return static_cast<std::size_t>(count);
    }

    void cancel(int closeCode) {
        if (m_state == State::over)
            return;
        stopListening();
        if (m_socket && m_socket->state() == QAbstractSocket::ConnectedState)
            m_socket->close(static_cast<QWebSocketProtocol::CloseCode>(closeCode));
        drop();
    }

  private:
    enum class State { idle, connecting, open, ending, over };

    void connectSocket() {
        const QUrl url(QString::fromStdString(m_url), QUrl::StrictMode);
        if (!url.isValid() || url.host().isEmpty())
            throw std::runtime_error("the URL cannot be read");
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        if (m_options.authorities && url.scheme() == QLatin1String("wss")) {
            // Adding to the default ones would end Qt's looking them up as they are needed.
            tls.setCaCertificates(systemAuthorities() + readAuthorities(*m_options.authorities));
        }

        m_socket = std::make_unique<QWebSocket>();
        m_socket->setProxy(QNetworkProxy::NoProxy);
        m_socket->setSslConfiguration(tls);
        m_socket->setMaxAllowedIncomingFrameSize(m_options.maximumMessage);
        m_socket->setMaxAllowedIncomingMessageSize(m_options.maximumMessage);
        // A frame is read only once it is whole, so it has to fit. The header of the handshake has
        // no other bound.
        m_socket->setReadBufferSize(static_cast<qint64>(m_options.maximumMessage) + 64 * 1024);

        QWebSocket* const socket = m_socket.get();
        connect(socket, &QWebSocket::connected, this, [this] {
            m_timer.reset();
            post([this] { open(); });
        });
        connect(socket, &QWebSocket::textMessageReceived, this, [this](const QString& message) {
            std::string text = message.toStdString();
            m_unheard += text.size() + messageOverhead;
            if (m_unheard > m_options.maximumUnheard) {
                fail("the peer sends faster than it is heard");
                return;
            }
            post([this, text = std::move(text)] {
                m_unheard -= text.size() + messageOverhead;
                const auto handlers = m_handlers;
                handlers->text(text);
            });
        });
        // Pings of the peer are answered without a signal. They need not count as signs of life,
        // because a peer that lives answers ours.
        const auto heard = [this] { m_timer.reset(); };
        connect(socket, &QWebSocket::textFrameReceived, this, heard);
        connect(socket, &QWebSocket::binaryFrameReceived, this, heard);
        connect(socket, &QWebSocket::pong, this, heard);

        // The end shows as any of these, in any order; the first one counts.
        connect(socket, qOverload<QAbstractSocket::SocketError>(&QWebSocket::error), this,
                [this](QAbstractSocket::SocketError error) { failWith(error); });
        // Comes with a closing frame, before the socket waits for unsent bytes to go.
        connect(socket, &QWebSocket::aboutToClose, this, [this] {
            fail("closed with code " + std::to_string(static_cast<int>(m_socket->closeCode())));
        });
        // May come before the error that says why.
        connect(socket, &QWebSocket::disconnected, this,
                [this] { post([this] { fail("disconnected"); }); });

        socket->open(url);
        m_carrier = socket->findChild<QAbstractSocket*>();
        if (m_carrier) // The answers to its pings pass `send` by.
            connect(m_carrier, &QAbstractSocket::readyRead, this, &Implementation::checkUnsent);
        if (auto* const encrypted = qobject_cast<QSslSocket*>(m_carrier))
            connect(encrypted, &QSslSocket::encryptedBytesWritten, this, &Implementation::wrote);
        else if (m_carrier)
            connect(m_carrier, &QAbstractSocket::bytesWritten, this, &Implementation::wrote);
    }

    void open() {
        // It may have ended with the same packet.
        if (m_state == State::connecting) {
            m_state = State::open;
            m_pings = m_scheduler.every(m_options.pingPeriod, [this] { ping(); });
        }
        const auto handlers = m_handlers;
        handlers->opened();
    }

    void checkUnsent() {
        if (unsentBytes() > m_options.maximumUnsent)
            fail("the peer does not take what it is sent");
    }

    void ping() {
        m_socket->ping();
        if (m_timer)
            return;
        m_unsentPing = unsentBytes();
        awaitFrame();
    }

    void awaitFrame() {
        m_timer = m_scheduler.after(m_options.silence, [this] {
            fail("nothing was heard for " + seconds(m_options.silence));
        });
    }

    // A ping behind a large message goes out late. Until it has, every byte that goes is a sign of
    // life; later ones only fill the system's buffer.
    void wrote(qint64 count) {
        if (!m_timer || m_unsentPing == 0)
            return;
        m_unsentPing -= std::min(m_unsentPing, static_cast<std::size_t>(count));
        awaitFrame();
    }

    // Qt's texts about the answer to the handshake quote the peer, who knows the URL's query, so
    // none of them is passed on. Its other texts are of the system and of the TLS library.
    void failWith(QAbstractSocket::SocketError error) {
        const QString text = m_socket->errorString();
        if (const auto status = statusIn(text))
            fail({status, "HTTP " + std::to_string(*status)});
        else if (m_socket->state() == QAbstractSocket::ConnectingState &&
                 error == QAbstractSocket::ConnectionRefusedError)
            fail("the answer is no WebSocket handshake");
        else
            fail(text.toStdString());
    }

    void fail(std::string reason) { fail(Failure{std::nullopt, std::move(reason)}); }

    // Comes from the socket's signals, too, in which it must not be destroyed.
    void fail(Failure failure) {
        if (m_state == State::ending || m_state == State::over)
            return;
        stopListening();
        m_state = State::ending;
        post([this, failure = std::move(failure)] {
            drop();
            const auto handlers = m_handlers;
            handlers->failed(failure);
        });
    }

    void stopListening() {
        m_timer.reset();
        m_pings.reset();
        if (m_socket)
            m_socket->disconnect(this);
        if (m_carrier)
            m_carrier->disconnect(this);
    }

    void drop() {
        m_state = State::over;
        m_carrier = nullptr;
        m_socket.reset();
    }

    // From a later turn of the loop, in order, unless it is over by then.
    void post(std::function<void()> action) {
        m_actions.push_back(std::move(action));
        if (m_actions.size() == 1)
            QMetaObject::invokeMethod(
                this, [this] { act(); }, Qt::QueuedConnection);
    }

    // An action may destroy this object.
    void act() {
        const auto end = std::chrono::steady_clock::now() + slice;
        const std::weak_ptr<const Handlers> alive = m_handlers;
        while (!m_actions.empty()) {
            if (std::chrono::steady_clock::now() > end) {
                // What is posted anew would come before the other events of the loop.
                QTimer::singleShot(0, this, [this] { act(); });
                return;
            }
            // It stays in its place meanwhile, so that nobody begins a second round.
            const auto action = std::move(m_actions.front());
            if (m_state != State::over)
                action();
            if (alive.expired())
                return;
            m_actions.pop_front();
        }
    }

    const std::string m_url;
    const std::shared_ptr<const Handlers> m_handlers;
    Scheduler& m_scheduler;
    const Options m_options;
    State m_state = State::idle;
    std::unique_ptr<QWebSocket> m_socket;
    QAbstractSocket* m_carrier = nullptr; // the socket's own TCP or TLS socket
    std::unique_ptr<Scheduler::Timer> m_pings;
    std::unique_ptr<Scheduler::Timer> m_timer; // for the handshake, then for a frame
    std::deque<std::function<void()>> m_actions;
    std::size_t m_unheard = 0;    // bytes of messages that nobody was told of yet
    std::size_t m_unsentPing = 0; // what has to be written before the ping has gone, in bytes
};

QtWebSocketTask::Options QtWebSocketTask::Options::from(const EnvironmentLookup& environment) {
    Options options;
    if (const auto path = environment("TAMSELL_RELAY_CA"); path && !path->empty())
        options.authorities = *path;
    return options;
}

QtWebSocketTask::QtWebSocketTask(std::string url, Handlers handlers, Scheduler& scheduler,
                                 Options options)
    : m_implementation(std::make_unique<Implementation>(std::move(url), std::move(handlers),
                                                        scheduler, std::move(options))) {}

QtWebSocketTask::~QtWebSocketTask() = default;

WebSocketOpener QtWebSocketTask::opener(Scheduler& scheduler, Options options) {
    return [&scheduler, options = std::move(options)](const std::string& url, Handlers handlers) {
        return std::make_unique<QtWebSocketTask>(url, std::move(handlers), scheduler, options);
    };
}

void QtWebSocketTask::resume() {
    m_implementation->resume();
}

void QtWebSocketTask::send(std::string_view text) {
    m_implementation->send(text);
}

std::size_t QtWebSocketTask::unsentBytes() const {
    return m_implementation->unsentBytes();
}

void QtWebSocketTask::cancel(int closeCode) {
    m_implementation->cancel(closeCode);
}
