#include "support/Certificates.h"

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace {

constexpr const char* newKey = " -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout ";

std::string extensionsOf(std::string_view name) {
    return "basicConstraints = critical,CA:false\nsubjectAltName = " + std::string(name) + "\n";
}

} // namespace

Certificates::Certificates() {
    m_directory.put("authority.cnf", "[req]\ndistinguished_name = name\n[name]\n[extensions]\n"
                                     "basicConstraints = critical,CA:true\n"
                                     "keyUsage = critical,keyCertSign\n");
    openssl(std::string("req -x509 -config authority.cnf -extensions extensions -days 2"
                        " -subj '/CN=Authority of the tests' -out authority.pem") +
            newKey + "authority.key");
}

TLSIdentity Certificates::issue(std::string_view name, Validity validity) {
    TLSIdentity identity = next();
    const std::string certificate = identity.certificate.string();
    m_directory.put("extensions.cnf", extensionsOf(name));
    openssl("req -new -config authority.cnf -subj '/CN=A relay' -out request.pem" +
            std::string(newKey) + identity.key.string());
    openssl("x509 -req -in request.pem -CA authority.pem -CAkey authority.key -CAcreateserial"
            " -extfile extensions.cnf -out " +
            certificate + (validity == Validity::valid ? " -days 2" : " -days -1"));
    return identity;
}

TLSIdentity Certificates::selfSigned(std::string_view name) {
    TLSIdentity identity = next();
    m_directory.put("self.cnf", "[req]\ndistinguished_name = name\n[name]\n[extensions]\n" +
                                    extensionsOf(name));
    openssl("req -x509 -config self.cnf -extensions extensions -days 2 -subj '/CN=A relay' -out " +
            identity.certificate.string() + newKey + identity.key.string());
    return identity;
}

TLSIdentity Certificates::next() {
    const std::string name = "server" + std::to_string(++m_count);
    return {m_directory / (name + ".pem"), m_directory / (name + ".key")};
}

void Certificates::openssl(const std::string& arguments) const {
    const std::string command =
        "cd '" + m_directory.path().string() + "' && openssl " + arguments + " >openssl.log 2>&1";
    if (std::system(command.c_str()) != 0) // NOLINT(concurrency-mt-unsafe)
        throw std::runtime_error("openssl " + arguments + ": " +
                                 contentOf(m_directory / "openssl.log"));
}
