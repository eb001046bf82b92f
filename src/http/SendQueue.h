#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <span>
#include <string>
#include <string_view>

/// The bytes that wait to be written to one peer, as records that are sent whole or not at all.
class SendQueue {
  public:
    /// How many unsent bytes a stream may gather. A page that is stalled for minutes still gets
    /// every state, and a hundred such pages don't exhaust the memory.
    static constexpr std::size_t limit = 8 * 1024 * 1024;

    [[nodiscard]] bool isEmpty() const { return m_records.empty(); }
    [[nodiscard]] std::size_t unsentBytes() const { return m_unsentBytes; }

    /// Puts bytes at the end.
    void append(std::string bytes);
    /// Puts a record at the end that makes earlier states worthless. When the queue would then
    /// exceed `limit`, those of them that were not begun are dropped: at most the begun one and
    /// this one remain, however large they are.
    void appendState(std::shared_ptr<const std::string> record);

    /// Fills `pieces` from the front of the queue. How many there are.
    std::size_t front(std::span<std::string_view> pieces) const;
    /// The first `count` bytes were sent.
    void consume(std::size_t count);
    void clear();

  private:
    enum class Kind { bytes, state };
    struct Record {
        std::shared_ptr<const std::string> text;
        Kind kind;
    };

    std::list<Record> m_records; // None is empty.
    std::size_t m_sentOfFirst = 0;
    std::size_t m_unsentBytes = 0;
};
