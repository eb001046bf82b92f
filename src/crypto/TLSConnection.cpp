#include "crypto/TLSConnection.h"

#include <cerrno>
#include <system_error>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>

#include "crypto/OpenSSL.h"

namespace {

using Kind = TLSError::Kind;
using Context = OpenSSLPointer<SSL_CTX, SSL_CTX_free>;
using Address = OpenSSLPointer<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>;

Kind kindOf(long verification) {
    switch (verification) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        return Kind::expired;
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return Kind::notYetValid;
    case X509_V_ERR_HOSTNAME_MISMATCH:
    case X509_V_ERR_IP_ADDRESS_MISMATCH:
        return Kind::wrongName;
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        return Kind::selfSigned;
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        return Kind::unknownAuthority;
    default:
        return Kind::certificate;
    }
}

Context contextFor(const std::string& trustedFile) {
    Context context(SSL_CTX_new(TLS_client_method()));
    requireOpenSSL(context && SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) == 1,
                   "OpenSSL refused to set up TLS");
    // A system without any authorities is a certificate that nobody knows.
    SSL_CTX_set_default_verify_paths(context.get());
    if (!trustedFile.empty() && SSL_CTX_load_verify_file(context.get(), trustedFile.c_str()) != 1) {
        ERR_clear_error();
        throw TLSError(Kind::trustedFile, "no certificates in " + trustedFile);
    }
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    return context;
}

// The name that the certificate has to be for; an address is none, and is not announced (RFC 6066).
bool expect(SSL* connection, const std::string& host) {
    const Address address(a2i_IPADDRESS(host.c_str()));
    if (address)
        return X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(connection), host.c_str()) == 1;
    ERR_clear_error();
    SSL_set_hostflags(connection, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    return SSL_set1_host(connection, host.c_str()) == 1 &&
           SSL_set_tlsext_host_name(connection, host.c_str()) == 1;
}

void await(int socket, short events, TLSConnection::Deadline deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            throw TLSError(Kind::notInTime, "not in time");
        pollfd wait{.fd = socket, .events = events, .revents = 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(left.count()));
        if (ready > 0)
            return;
        if (ready < 0 && errno != EINTR)
            throw TLSError(Kind::broken, "poll failed");
    }
}

std::string lastWords() {
    const char* reason = ERR_reason_error_string(ERR_peek_error());
    ERR_clear_error();
    return reason ? reason : "connection closed";
}

// Repeats one of OpenSSL's calls until it is through. False when the peer has ended the connection
// as it should.
// @param failure what it is when the two do not understand each other
template <typename Call>
bool complete(SSL* connection, TLSConnection::Deadline deadline, Kind failure, Call call) {
    for (;;) {
        // What an earlier failure left would be taken for this call's (SSL_get_error(3)).
        ERR_clear_error();
        const int result = call();
        if (result == 1)
            return true;
        switch (SSL_get_error(connection, result)) {
        case SSL_ERROR_WANT_READ:
            await(SSL_get_fd(connection), POLLIN, deadline);
            break;
        case SSL_ERROR_WANT_WRITE:
            await(SSL_get_fd(connection), POLLOUT, deadline);
            break;
        case SSL_ERROR_ZERO_RETURN:
            return false;
        case SSL_ERROR_SYSCALL:
            throw TLSError(Kind::broken, std::generic_category().message(errno));
        default:
            throw TLSError(failure, lastWords());
        }
    }
}

} // namespace

void TLSConnection::Release::operator()(ssl_st* connection) const {
    SSL_free(connection);
}

TLSConnection::TLSConnection(int socket, const std::string& host, const std::string& trustedFile,
                             Deadline deadline) {
    const Context context = contextFor(trustedFile);
    m_connection.reset(SSL_new(context.get()));
    requireOpenSSL(m_connection && expect(m_connection.get(), host) &&
                       SSL_set_fd(m_connection.get(), socket) == 1,
                   "OpenSSL refused to set up TLS");
    try {
        if (!complete(m_connection.get(), deadline, Kind::handshake,
                      [&] { return SSL_connect(m_connection.get()); }))
            throw TLSError(Kind::broken, "connection closed");
    } catch (const TLSError& error) {
        const long verification = SSL_get_verify_result(m_connection.get());
        if (verification == X509_V_OK)
            throw;
        throw TLSError(kindOf(verification), X509_verify_cert_error_string(verification));
    }
}

void TLSConnection::send(std::string_view bytes, Deadline deadline) {
    std::size_t written = 0;
    // Without partial writes it is all or nothing, and none of nothing.
    if (!bytes.empty() && !complete(m_connection.get(), deadline, Kind::broken, [&] {
            return SSL_write_ex(m_connection.get(), bytes.data(), bytes.size(), &written);
        }))
        throw TLSError(Kind::broken, "connection closed");
}

std::string_view TLSConnection::receive(std::span<char> buffer, Deadline deadline) {
    std::size_t count = 0;
    if (!complete(m_connection.get(), deadline, Kind::broken, [&] {
            return SSL_read_ex(m_connection.get(), buffer.data(), buffer.size(), &count);
        }))
        return {};
    return {buffer.data(), count};
}
