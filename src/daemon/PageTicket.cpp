#include "daemon/PageTicket.h"

#include "core/Base64Url.h"
#include "crypto/ConstantTime.h"
#include "crypto/Random.h"

std::string PageTicket::issue(Clock::time_point now) {
    m_valid = base64url::encode(securerandom::bytes<32>());
    m_until = now + lifetime;
    return *m_valid;
}

bool PageTicket::redeem(std::string_view presented, Clock::time_point now) {
    if (!m_valid || now > m_until || !constantTimeEqual(presented, *m_valid))
        return false;
    m_valid.reset();
    return true;
}
