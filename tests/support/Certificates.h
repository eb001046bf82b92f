#pragma once

#include <filesystem>
#include <string_view>

#include "support/TemporaryDirectory.h"

/// What a TLS server shows: PEM files.
struct TLSIdentity {
    std::filesystem::path certificate;
    std::filesystem::path key;
};

/// An authority of its own and certificates by it, made by the openssl program. Everything lies in
/// a temporary directory that goes with the object. Failing to make one throws std::runtime_error.
class Certificates {
  public:
    enum class Validity { valid, expired };

    Certificates();

    /// The authority's certificate.
    [[nodiscard]] std::filesystem::path authority() const { return m_directory / "authority.pem"; }
    /// @param name one alternative name as openssl writes it, such as "DNS:relay.example"
    [[nodiscard]] TLSIdentity issue(std::string_view name, Validity validity = Validity::valid);
    /// One that no authority has signed.
    [[nodiscard]] TLSIdentity selfSigned(std::string_view name);

  private:
    [[nodiscard]] TLSIdentity next();
    void openssl(const std::string& arguments) const;

    TemporaryDirectory m_directory;
    int m_count = 0;
};
