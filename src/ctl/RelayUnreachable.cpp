#include "ctl/RelayUnreachable.h"

#include "core/Localized.h"
#include "core/Text.h"

namespace ctl {

RelayUnreachable RelayUnreachable::onTheWay(const std::string& message) {
    return {message, localized("檢查網路與中繼網址")};
}

RelayUnreachable RelayUnreachable::silent(const RelayAddress& address) {
    return onTheWay(localized("%@ 連得上，但 5 秒內沒有回應", {address.authority()}));
}

RelayUnreachable RelayUnreachable::interrupted(const RelayAddress& address,
                                               const std::string& reason) {
    return onTheWay(
        localized("與 %@ 的連線中斷（%@）", {address.authority(), text::visible(reason)}));
}

RelayUnreachable RelayUnreachable::because(const TLSError& error, const RelayAddress& address,
                                           const std::string& trustedFile) {
    using Kind = TLSError::Kind;
    const std::string askItsOwner = localized("請中繼的管理者更新憑證");
    const std::string trustIt =
        localized("如果是你自己的中繼，把簽發機構的憑證（PEM 檔）寫進環境變數 TAMSELL_RELAY_CA");
    switch (error.kind()) {
    case Kind::expired:
        return {localized("%@ 的憑證過期了", {address.host}), askItsOwner};
    case Kind::notYetValid:
        return {localized("%@ 的憑證還沒生效", {address.host}), localized("檢查這台電腦的時鐘")};
    case Kind::wrongName:
        return {localized("對方的憑證不是給 %@ 的", {address.host}),
                localized("檢查中繼網址的主機名稱")};
    case Kind::selfSigned:
        return {localized("%@ 的憑證是自簽憑證，沒有受信任的機構擔保", {address.host}), trustIt};
    case Kind::unknownAuthority:
        return {localized("%@ 的憑證由不受信任的機構簽發", {address.host}), trustIt};
    case Kind::certificate:
        return {localized("%@ 的憑證無效：%@", {address.host, text::visible(error.what())}),
                askItsOwner};
    case Kind::trustedFile:
        return {localized("TAMSELL_RELAY_CA 的檔案 %@ 裡沒有憑證", {text::visible(trustedFile)}),
                localized("改成 PEM 格式的憑證檔")};
    case Kind::notInTime:
        return silent(address);
    case Kind::broken:
        return interrupted(address, error.what());
    case Kind::handshake:
        break;
    }
    return {
        localized("%@ 無法建立 TLS 連線：%@", {address.authority(), text::visible(error.what())}),
        localized("檢查中繼網址的連接埠")};
}

} // namespace ctl
