#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "http/HTTPRequest.h"

/// Reads one request from the bytes of a connection as they arrive, in time linear in their number
/// however they are split.
///
/// It is lenient about everything but the shape: header bytes that are not UTF-8 are replaced by
/// U+FFFD, a line without ":" is skipped, a `content-length` that is not a decimal number from 0 up
/// counts as 0, and a target that is no URL reference gives the path "/". A request line of fewer
/// than two words never becomes a request.
class HTTPRequestParser {
  public:
    /// A connection that has sent more without completing a request is given up. Hook events with a
    /// whole file in them stay far below.
    static constexpr std::size_t maximumSize = 16 * 1024 * 1024;

    /// Takes the next bytes. The request (with `isLocal` false) once its last byte is among them;
    /// what follows it is ignored, and nothing may be fed afterwards.
    [[nodiscard]] std::optional<HTTPRequest> feed(std::string_view bytes);

    /// Whether more than `maximumSize` bytes came without completing a request.
    [[nodiscard]] bool isOverfull() const { return m_receivedBytes > maximumSize; }

  private:
    enum class Phase { header, body, hopeless };

    void readHeader(std::string_view block);

    Phase m_phase = Phase::header;
    std::string m_header; // While it is incomplete.
    std::size_t m_receivedBytes = 0;
    std::size_t m_bodyLength = 0;
    HTTPRequest m_request;
};
