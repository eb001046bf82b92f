#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <QUrl>

/// An address that the updater may go to: https; or http to a loopback address written in digits,
/// which never leaves this computer. Without user name and password, which would end up in logs.
class UpdateURL {
  public:
    /// Nothing when the text is no such address.
    [[nodiscard]] static std::optional<UpdateURL> parse(std::string_view text);

    /// Where a reference on this address leads (RFC 3986 section 5.2): a redirect of it, or a file
    /// that a feed names. Never from https to http.
    [[nodiscard]] std::optional<UpdateURL> follow(std::string_view reference) const;

    [[nodiscard]] const QUrl& url() const { return m_url; }
    /// What stands behind the last "/" of the path, percent-decoded. It may have any bytes in it.
    [[nodiscard]] std::string lastSegment() const;

  private:
    explicit UpdateURL(QUrl url);

    QUrl m_url;
};
