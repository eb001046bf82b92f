#pragma once

#include <string>

#include "core/DaemonError.h"
#include "crypto/TLSConnection.h"
#include "ctl/RelayAddress.h"

namespace ctl {

/// What stands in the way to a relay, and what the user can do about it.
class RelayUnreachable final : public DaemonError {
  public:
    RelayUnreachable(const std::string& message, std::string remedy)
        : DaemonError(message), m_remedy(std::move(remedy)) {}

    /// Something on the way.
    [[nodiscard]] static RelayUnreachable onTheWay(const std::string& message);
    [[nodiscard]] static RelayUnreachable silent(const RelayAddress& address);
    /// @param reason the system's or OpenSSL's words
    [[nodiscard]] static RelayUnreachable interrupted(const RelayAddress& address,
                                                      const std::string& reason);
    /// @param trustedFile see `TLSConnection`
    [[nodiscard]] static RelayUnreachable
    because(const TLSError& error, const RelayAddress& address, const std::string& trustedFile);

    [[nodiscard]] const std::string& remedy() const { return m_remedy; }

  private:
    std::string m_remedy;
};

} // namespace ctl
