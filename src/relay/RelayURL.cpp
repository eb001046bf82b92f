#include "relay/RelayURL.h"

#include <QUrl>

namespace relayurl {

namespace {

std::optional<QUrl> parsed(const std::string& text) {
    QUrl url(QString::fromStdString(text), QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty() || !url.userInfo().isEmpty())
        return std::nullopt;
    return url;
}

// As a value of a query: also "+" and "&" are escaped.
QString escaped(const std::string& text) {
    return QString::fromLatin1(QUrl::toPercentEncoding(QString::fromStdString(text)));
}

} // namespace

bool isUsable(const std::string& url) {
    return parsed(url).has_value();
}

std::optional<std::string> webSocket(const RelayConfig& relay) {
    auto url = parsed(relay.url);
    if (!url)
        return std::nullopt;
    url->setScheme(url->scheme() == QLatin1String("https") ? QStringLiteral("wss")
                                                           : QStringLiteral("ws"));
    url->setPath(QLatin1String("/ws/") + escaped(relay.channel), QUrl::TolerantMode);
    url->setFragment({});
    url->setQuery(QLatin1String("role=mac&auth=") + escaped(relay.auth));
    return url->toString(QUrl::FullyEncoded).toStdString();
}

} // namespace relayurl
