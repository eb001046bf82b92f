#include "update/UpdateURL.h"

#include <utility>

#include <QHostAddress>

namespace {

QUrl parsed(std::string_view text) {
    return QUrl(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
}

// The same parsed value is what the request is made of, so no other parser can see another host.
bool isAllowed(const QUrl& url) {
    if (!url.isValid() || url.host().isEmpty() || !url.userInfo().isEmpty())
        return false;
    return url.scheme() == QLatin1String("https") ||
           (url.scheme() == QLatin1String("http") && QHostAddress(url.host()).isLoopback());
}

} // namespace

UpdateURL::UpdateURL(QUrl url) : m_url(std::move(url)) {}

std::optional<UpdateURL> UpdateURL::parse(std::string_view text) {
    QUrl url = parsed(text);
    return isAllowed(url) ? std::optional(UpdateURL(std::move(url))) : std::nullopt;
}

std::optional<UpdateURL> UpdateURL::follow(std::string_view reference) const {
    const QUrl relative = parsed(reference);
    if (relative.isEmpty() || !relative.isValid())
        return std::nullopt;
    QUrl url = m_url.resolved(relative);
    if (!isAllowed(url) ||
        (m_url.scheme() == QLatin1String("https") && url.scheme() != m_url.scheme()))
        return std::nullopt;
    return UpdateURL(std::move(url));
}

std::string UpdateURL::lastSegment() const {
    const QByteArray path = m_url.path(QUrl::FullyEncoded).toLatin1();
    return QByteArray::fromPercentEncoding(path.mid(path.lastIndexOf('/') + 1)).toStdString();
}
