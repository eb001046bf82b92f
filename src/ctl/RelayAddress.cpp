#include "ctl/RelayAddress.h"

#include <QString>
#include <QUrl>

#include "core/DaemonError.h"
#include "core/Localized.h"
#include "platform/TCPSocket.h"

namespace ctl {

namespace {

constexpr int portOfHTTPS = 443;
constexpr int portOfHTTP = 80;

bool isThisComputer(const std::string& host) {
    const auto literal = tcp::Address::parse(host, 0);
    return host == "localhost" || (literal && literal->isLoopback());
}

} // namespace

RelayAddress RelayAddress::from(std::string_view url) {
    const QUrl parsed(QString::fromUtf8(url.data(), static_cast<qsizetype>(url.size())),
                      QUrl::StrictMode);
    if (parsed.scheme() != QLatin1String("https") && parsed.scheme() != QLatin1String("http"))
        throw DaemonError(localized("網址要以 https:// 開頭"));
    if (!parsed.isValid() || parsed.host().isEmpty() || parsed.port(portOfHTTPS) == 0)
        throw DaemonError(localized("不是有效的網址"));
    if (!parsed.userInfo().isEmpty())
        throw DaemonError(localized("網址不能有帳號或密碼"));
    if (parsed.hasQuery() || parsed.hasFragment())
        throw DaemonError(localized("網址不能有「?」或「#」"));

    RelayAddress address;
    address.usesTLS = parsed.scheme() == QLatin1String("https");
    address.host = parsed.host(QUrl::FullyEncoded).toStdString();
    address.port =
        static_cast<std::uint16_t>(parsed.port(address.usesTLS ? portOfHTTPS : portOfHTTP));
    if (!address.usesTLS && !isThisComputer(address.host))
        throw DaemonError(
            localized("http 只能用在這台電腦自己的位址；經過網路要用 https，否則別人看"
                      "得到中繼的密碼，能冒充這台電腦"));
    return address;
}

std::string RelayAddress::authority() const {
    const bool isIPv6 = host.find(':') != std::string::npos;
    const std::string name = isIPv6 ? "[" + host + "]" : host;
    const bool isUsual = port == (usesTLS ? portOfHTTPS : portOfHTTP);
    return isUsual ? name : name + ":" + std::to_string(port);
}

} // namespace ctl
