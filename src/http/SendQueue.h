#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The bytes that wait to be written to one peer, as records that are sent whole or not at all.
///
/// Bounded for a stream of states, of which only the newest counts: see `appendState`.
class SendQueue {
  public:
    /// More unsent bytes than this are held only while a single record is larger. It lets a phone
    /// page that sleeps for minutes catch up without a gap, and a hundred stalled ones fit.
    static constexpr std::size_t limit = 8 * 1024 * 1024;

    [[nodiscard]] bool isEmpty() const { return m_records.empty(); }
    [[nodiscard]] std::size_t unsentBytes() const { return m_unsentBytes; }

    /// Puts bytes at the end.
    void append(std::string bytes);
    /// Puts a record at the end that makes those before it worthless. When they would exceed
    /// `limit` together, every record of which no byte was sent yet is dropped first.
    void appendState(std::shared_ptr<const std::string> record);

    /// Up to `pieces.size()` pieces from the front; how many there are.
    std::size_t front(std::span<std::string_view> pieces) const;
    /// The first `count` bytes were sent.
    void consume(std::size_t count);
    void clear();

  private:
    using Record = std::shared_ptr<const std::string>;

    void push(Record record);

    std::vector<Record> m_records;
    std::size_t m_sentOfFirst = 0;
    std::size_t m_unsentBytes = 0;
};
