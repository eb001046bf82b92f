#include "relay/Invite.h"

#include "core/Base64Url.h"

std::string Invite::link() const {
    std::string base = relayURL;
    while (base.ends_with('/'))
        base.pop_back();
    return base + "/#v=2&c=" + channel + "&i=" + base64url::encode(secret) +
           "&m=" + base64url::encode(macKey);
}
