#include "update/SignatureCheck.h"

#include <cerrno>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// A whole file in memory, as far as it is read.
class Mapping {
  public:
    explicit Mapping(const Descriptor& file) {
        struct stat status {};
        if (::fstat(file.number(), &status) != 0)
            fail("fstat");
        m_size = static_cast<std::size_t>(status.st_size);
        if (m_size == 0) // There is nothing to map.
            return;
        m_start = ::mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE, file.number(), 0);
        if (m_start == MAP_FAILED)
            fail("mmap");
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping() {
        if (m_size > 0)
            ::munmap(m_start, m_size);
    }

    [[nodiscard]] std::span<const std::uint8_t> bytes() const {
        return {static_cast<const std::uint8_t*>(m_start), m_size};
    }

  private:
    void* m_start = nullptr;
    std::size_t m_size = 0;
};

SignatureCheck::Result check(const Descriptor& file, const ed25519::PublicKey& key,
                             const ed25519::Signature& signature) {
    using Verdict = SignatureCheck::Verdict;
    try {
        if (::fsync(file.number()) != 0)
            fail("fsync");
        const Mapping mapping(file);
        const bool isValid = ed25519::verify(key, mapping.bytes(), signature);
        return {.verdict = isValid ? Verdict::valid : Verdict::invalid, .reason = {}};
    } catch (const std::runtime_error& error) {
        return {.verdict = Verdict::impossible, .reason = error.what()};
    }
}

} // namespace

SignatureCheck::SignatureCheck(Descriptor file, const ed25519::PublicKey& key,
                               const ed25519::Signature& signature,
                               std::function<void(const Result&)> done)
    : m_thread([this, file = std::move(file), key, signature, done = std::move(done)] {
          QMetaObject::invokeMethod(
              &m_loop, [done, result = check(file, key, signature)] { done(result); },
              Qt::QueuedConnection);
      }) {}

SignatureCheck::~SignatureCheck() {
    m_thread.join();
}
