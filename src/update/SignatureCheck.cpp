#include "update/SignatureCheck.h"

#include <cerrno>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// As much of the file as was written into it. It is read and not mapped: a mapped file that loses
// its end, or whose disk fails, ends the whole program.
class Bytes {
  public:
    Bytes(const Descriptor& file, std::size_t size)
        : m_bytes(new (std::nothrow) std::uint8_t[size]), m_size(size) {
        if (!m_bytes) {
            errno = ENOMEM;
            fail("read");
        }
        for (std::size_t at = 0; at < size;) {
            const ssize_t count =
                ::pread(file.number(), &m_bytes[at], size - at, static_cast<off_t>(at));
            if (count > 0) {
                at += static_cast<std::size_t>(count);
            } else if (count == 0 || errno != EINTR) {
                errno = count == 0 ? EIO : errno; // Its end is missing.
                fail("read");
            }
        }
    }

    [[nodiscard]] std::span<const std::uint8_t> span() const { return {m_bytes.get(), m_size}; }

  private:
    std::unique_ptr<std::uint8_t[]> m_bytes; // A vector would write all of it beforehand.
    std::size_t m_size;
};

SignatureCheck::Result check(const Descriptor& file, std::size_t size,
                             const ed25519::PublicKey& key, const ed25519::Signature& signature) {
    using Verdict = SignatureCheck::Verdict;
    try {
        if (::fsync(file.number()) != 0)
            fail("fsync");
        const Bytes bytes(file, size);
        const bool isValid = ed25519::verify(key, bytes.span(), signature);
        return {.verdict = isValid ? Verdict::valid : Verdict::invalid, .reason = {}};
    } catch (const std::runtime_error& error) {
        return {.verdict = Verdict::impossible, .reason = error.what()};
    }
}

} // namespace

SignatureCheck::SignatureCheck(Descriptor file, std::size_t size, const ed25519::PublicKey& key,
                               const ed25519::Signature& signature,
                               std::function<void(const Result&)> done)
    : m_thread([this, file = std::move(file), size, key, signature, done = std::move(done)] {
          QMetaObject::invokeMethod(
              &m_loop, [done, result = check(file, size, key, signature)] { done(result); },
              Qt::QueuedConnection);
      }) {}

SignatureCheck::~SignatureCheck() {
    m_thread.join();
}
