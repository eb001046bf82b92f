#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "crypto/Ed25519.h"
#include "platform/Scheduler.h"
#include "update/Fetch.h"
#include "update/PartialFile.h"
#include "update/SignatureCheck.h"
#include "update/UpdateURL.h"

/// Brings one release into the downloads folder, begun by the constructor. The file gets its name
/// only once its signature is found valid; until then it is a hidden one, and whatever fails leaves
/// nothing behind. Nothing but the signature check ever reads it.
class Download {
  public:
    /// What this program's packages will never come near.
    static constexpr std::uint64_t maximumSize = std::uint64_t{512} << 20;

    struct Release {
        UpdateURL url;
        std::optional<std::uint64_t> length{}; ///< bytes, when the feed says so; then exactly these
        ed25519::Signature signature{};
        std::string version; ///< names the file where the URL does not
    };

    /// Called on the event loop, never from within the constructor. Each may destroy the download,
    /// but that waits while the signature is being checked. `finished` and `failed` are the last.
    struct Handlers {
        /// Often.
        std::function<void(std::uint64_t received, std::optional<std::uint64_t> total)> progressed;
        std::function<void()> verifying;
        std::function<void(const std::filesystem::path& file)> finished;
        std::function<void(const std::string& reason)> failed; ///< for people
    };

    /// @throws DaemonError when the release is too large; std::system_error when the folder takes
    ///         no file
    Download(Release release, const ed25519::PublicKey& key, const std::filesystem::path& folder,
             Handlers handlers, Scheduler& scheduler, std::uint64_t limit = maximumSize);

    /// While it is, it cannot be stopped.
    [[nodiscard]] bool isVerifying() const { return m_check != nullptr; }
    /// The file is removed even if its signature is valid, and `failed` says when.
    void discard() { m_isDiscarded = true; }

  private:
    void received(std::string_view bytes);
    void verify();
    void judge(const SignatureCheck::Result& result);
    void fail(const std::string& reason);

    const Release m_release;
    const ed25519::PublicKey m_key;
    const std::shared_ptr<const Handlers>
        m_handlers; // A call keeps them while it may end all this.
    std::optional<PartialFile> m_file;
    std::uint64_t m_count = 0;
    bool m_isDiscarded = false;
    std::unique_ptr<Fetch> m_fetch;
    std::unique_ptr<SignatureCheck> m_check;
};
