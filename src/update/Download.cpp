#include "update/Download.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "core/DaemonError.h"
#include "core/Localized.h"
#include "update/DownloadName.h"

Download::Download(Release release, const ed25519::PublicKey& key,
                   const std::filesystem::path& folder, Handlers handlers, Scheduler& scheduler,
                   std::uint64_t limit)
    : m_release(std::move(release)),
      m_key(key),
      m_handlers(std::make_shared<const Handlers>(std::move(handlers))) {
    if (m_release.length > limit)
        throw DaemonError(localized("更新檔太大"));
    m_file.emplace(folder);
    m_fetch = std::make_unique<Fetch>(
        m_release.url, Fetch::Limits{.size = m_release.length.value_or(limit)},
        Fetch::Handlers{.received = [this](std::string_view bytes) { received(bytes); },
                        .finished = [this] { verify(); },
                        .failed = [this](const std::string& reason) { fail(reason); }},
        scheduler);
}

void Download::received(std::string_view bytes) {
    try {
        m_file->append(bytes);
    } catch (const std::system_error& error) {
        fail(localized("無法儲存更新檔：%@", {error.what()}));
        return;
    }
    m_count += bytes.size();
    const auto handlers = m_handlers;
    handlers->progressed(m_count, m_fetch->total() ? m_fetch->total() : m_release.length);
}

void Download::verify() {
    if (m_release.length.value_or(m_count) != m_count) {
        fail(localized("更新檔不完整"));
        return;
    }
    try {
        m_check = std::make_unique<SignatureCheck>(
            m_file->duplicate(), static_cast<std::size_t>(m_count), m_key, m_release.signature,
            [this](const SignatureCheck::Result& result) { judge(result); });
    } catch (const std::system_error& error) {
        fail(localized("無法驗證更新檔的簽章：%@", {error.what()}));
        return;
    }
    const auto handlers = m_handlers;
    handlers->verifying();
}

void Download::judge(const SignatureCheck::Result& result) {
    using Verdict = SignatureCheck::Verdict;
    if (m_isDiscarded) {
        fail(localized("已取消"));
        return;
    }
    if (result.verdict == Verdict::impossible) {
        fail(localized("無法驗證更新檔的簽章：%@", {result.reason}));
        return;
    }
    if (result.verdict == Verdict::invalid) {
        fail(localized("更新檔的簽章不正確，已經刪除"));
        return;
    }
    std::filesystem::path path;
    try {
        path = m_file->publish(
            downloadname::sanitised(m_release.url.lastSegment(), m_release.version));
    } catch (const std::system_error& error) {
        fail(localized("無法儲存更新檔：%@", {error.what()}));
        return;
    }
    const auto handlers = m_handlers;
    handlers->finished(path);
}

void Download::fail(const std::string& reason) {
    m_fetch.reset();
    m_file.reset();
    const auto handlers = m_handlers;
    handlers->failed(reason);
}
