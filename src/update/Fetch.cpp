#include "update/Fetch.h"

#include <utility>

#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QSslError>

#include "core/Localized.h"
#include "core/Text.h"

namespace {

constexpr int maximumRedirects = 5;
// What may wait to be read: the server is held back beyond it.
constexpr qint64 readBuffer = qint64{256} << 10;

QNetworkRequest requestFor(const UpdateURL& url) {
    QNetworkRequest request(url.url());
    request.setRawHeader("User-Agent", "tamsell");
    // Having one set keeps Qt from decompressing: a small answer must not become a large one.
    request.setRawHeader("Accept-Encoding", "identity");
    using Request = QNetworkRequest;
    request.setAttribute(Request::RedirectPolicyAttribute, Request::ManualRedirectPolicy);
    request.setAttribute(Request::CacheLoadControlAttribute, Request::AlwaysNetwork);
    request.setAttribute(Request::CacheSaveControlAttribute, false);
    request.setAttribute(Request::CookieLoadControlAttribute, Request::Manual);
    request.setAttribute(Request::CookieSaveControlAttribute, Request::Manual);
    request.setAttribute(Request::AuthenticationReuseAttribute, Request::Manual);
    // Its flow control does not know of the read buffer.
    request.setAttribute(Request::Http2AllowedAttribute, false);
    return request;
}

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

} // namespace

// Qt's signals are all connected queued: no code of the reply's is on the stack when it is
// destroyed, and what they find is judged by the state of the reply, not by which signal it was.
class Fetch::Implementation final : public QObject {
  public:
    Implementation(UpdateURL url, const Limits& limits, Handlers handlers, Scheduler& scheduler)
        : m_url(std::move(url)),
          m_limits(limits),
          m_handlers(std::make_shared<const Handlers>(std::move(handlers))),
          m_scheduler(scheduler) {
        // Asking for the system's proxy can wait for the network, which the loop must not.
        m_manager.setProxy(QNetworkProxy::NoProxy);
        if (m_limits.whole)
            m_whole = m_scheduler.after(*m_limits.whole, [this] { failSilent(*m_limits.whole); });
        request();
    }

    [[nodiscard]] const UpdateURL& url() const { return m_url; }
    [[nodiscard]] std::optional<std::uint64_t> total() const { return m_total; }

  private:
    void request() {
        heard();
        m_reply.reset(m_manager.get(requestFor(m_url)));
        m_reply->setReadBufferSize(readBuffer);
        QNetworkReply* const reply = m_reply.get();
        connect(reply, &QNetworkReply::metaDataChanged, this, &Implementation::advance,
                Qt::QueuedConnection);
        connect(reply, &QNetworkReply::readyRead, this, &Implementation::advance,
                Qt::QueuedConnection);
        connect(reply, &QNetworkReply::finished, this, &Implementation::advance,
                Qt::QueuedConnection);
        // Only noted. The reply says no more than that the handshake failed.
        connect(reply, &QNetworkReply::sslErrors, this, [this](const QList<QSslError>& errors) {
            m_certificateProblem = errors.isEmpty() ? QString() : errors.first().errorString();
        });
    }

    void heard() {
        m_stall = m_scheduler.after(m_limits.stall, [this] { failSilent(m_limits.stall); });
    }

    void advance() {
        if (!m_reply)
            return;
        if (!m_hasHead && !readHead())
            return;
        const QPointer<Implementation> alive(this);
        while (alive && m_reply && m_reply->bytesAvailable() > 0)
            readSome();
        if (alive && m_reply && m_reply->isFinished())
            finish();
    }

    // Whether the body of the answer comes now.
    bool readHead() {
        const QVariant status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        if (!status.isValid()) {
            if (m_reply->isFinished())
                failWithError();
            return false;
        }
        if (isRedirect(status.toInt())) {
            redirect();
            return false;
        }
        if (status.toInt() != 200) {
            fail(localized("更新伺服器回應了 HTTP %lld", {status.toDouble()}));
            return false;
        }
        m_hasHead = true;
        heard();
        bool isNumber = false;
        const qulonglong length = m_reply->rawHeader("Content-Length").toULongLong(&isNumber);
        if (isNumber)
            m_total = length;
        if (m_total > m_limits.size) {
            failTooLarge();
            return false;
        }
        return true;
    }

    void redirect() {
        const auto next = m_url.follow(m_reply->rawHeader("Location").toStdString());
        if (!next) {
            fail(localized("更新伺服器要轉往不安全的位址"));
        } else if (++m_redirects > maximumRedirects) {
            fail(localized("更新伺服器轉址太多次"));
        } else {
            m_url = *next;
            request();
        }
    }

    void readSome() {
        const QByteArray bytes = m_reply->read(readBuffer);
        m_count += static_cast<std::uint64_t>(bytes.size());
        if (m_count > m_limits.size) {
            failTooLarge();
            return;
        }
        heard();
        const auto handlers = m_handlers;
        handlers->received({bytes.constData(), static_cast<std::size_t>(bytes.size())});
    }

    void finish() {
        if (m_reply->error() != QNetworkReply::NoError) {
            failWithError();
        } else if (m_total && *m_total != m_count) {
            fail(localized("更新伺服器中斷了傳輸"));
        } else {
            end();
            const auto handlers = m_handlers;
            handlers->finished();
        }
    }

    void failWithError() {
        const QString& reason =
            m_certificateProblem.isEmpty() ? m_reply->errorString() : m_certificateProblem;
        fail(localized("無法連線到更新伺服器：%@", {text::visible(reason.toStdString())}));
    }

    void failTooLarge() { fail(localized("更新伺服器傳來的資料太大")); }

    void failSilent(std::chrono::milliseconds time) {
        fail(localized("更新伺服器在 %lld 秒內沒有完成回應",
                       {std::chrono::duration<double>(time).count()}));
    }

    void fail(const std::string& reason) {
        end();
        const auto handlers = m_handlers;
        handlers->failed(reason);
    }

    void end() {
        m_stall.reset();
        m_whole.reset();
        m_reply.reset();
    }

    UpdateURL m_url;
    const Limits m_limits;
    const std::shared_ptr<const Handlers>
        m_handlers; // A call keeps them while it may end all this.
    Scheduler& m_scheduler;
    QNetworkAccessManager m_manager;
    std::unique_ptr<QNetworkReply> m_reply;
    std::unique_ptr<Scheduler::Timer> m_stall;
    std::unique_ptr<Scheduler::Timer> m_whole;
    std::optional<std::uint64_t> m_total;
    std::uint64_t m_count = 0;
    int m_redirects = 0;
    bool m_hasHead = false;
    QString m_certificateProblem;
};

Fetch::Fetch(const UpdateURL& url, const Limits& limits, Handlers handlers, Scheduler& scheduler)
    : m_implementation(
          std::make_unique<Implementation>(url, limits, std::move(handlers), scheduler)) {}

Fetch::~Fetch() = default;

const UpdateURL& Fetch::url() const {
    return m_implementation->url();
}

std::optional<std::uint64_t> Fetch::total() const {
    return m_implementation->total();
}
