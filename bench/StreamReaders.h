#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Descriptor.h"

namespace bench {

/// Pages that watch: connections on which records come, read as fast as they come.
class StreamReaders {
  public:
    /// Sends the request on each and waits for the first record everywhere.
    StreamReaders(std::uint16_t port, const std::string& request, int count);

    /// Waits until one more record has come on every connection.
    /// @throws std::runtime_error after 60 seconds
    void awaitRecord();
    /// The bytes of the last record, its frame included.
    [[nodiscard]] std::size_t recordSize() const { return m_streams.front().recordSize; }

  private:
    struct Stream {
        Descriptor socket;
        int records = 0;
        std::size_t recordSize = 0;
        std::size_t unfinished = 0; // Bytes since the end of the last record.
        bool endedInLineFeed = false;
        bool isComment = false; // The unfinished record only keeps the connection alive.
    };

    void read(Stream& stream);

    Descriptor m_set;
    std::vector<Stream> m_streams;
    std::vector<char> m_buffer;
    int m_awaited = 0;
};

} // namespace bench
