#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <thread>

#include <QObject>

#include "core/Descriptor.h"
#include "crypto/Ed25519.h"

/// Checks the signature over a whole file, on a thread of its own: hashing half a gigabyte takes a
/// second, in which the loop could answer nobody. The thread shares nothing with anyone: it gets
/// its inputs and posts one result. It holds the file in memory, because the scheme reads it twice.
/// The check cannot be stopped; the destructor waits for its end.
class SignatureCheck {
  public:
    enum class Verdict {
        valid,
        invalid,
        impossible ///< the file cannot be brought to the disk or read into memory, or is shorter
                   ///< than it should be, or the system lacks Ed25519
    };
    struct Result {
        Verdict verdict = Verdict::impossible;
        std::string reason; ///< when it was impossible
    };

    /// @param size of the file in bytes; the caller has limited it
    /// @param done is called once, from the event loop, with the file on the disk. It may destroy
    ///        the check.
    /// @throws std::system_error when there is no thread to be had
    SignatureCheck(Descriptor file, std::size_t size, const ed25519::PublicKey& key,
                   const ed25519::Signature& signature, std::function<void(const Result&)> done);
    SignatureCheck(const SignatureCheck&) = delete;
    SignatureCheck& operator=(const SignatureCheck&) = delete;
    ~SignatureCheck();

  private:
    QObject m_loop; // What is posted to it goes with it.
    std::thread m_thread;
};
