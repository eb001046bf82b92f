#include "http/SendQueue.h"

#include <array>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

std::shared_ptr<const std::string> record(char letter, std::size_t size) {
    return std::make_shared<const std::string>(size, letter);
}

/// What would be sent, each run of one letter as the letter and its length.
std::string contents(const SendQueue& queue) {
    std::array<std::string_view, 64> pieces;
    const std::size_t count = queue.front(pieces);
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += pieces[i].front() + std::to_string(pieces[i].size()) + ' ';
    }
    return result;
}

TEST(SendQueue, SendsInOrderAcrossPartialWrites) {
    SendQueue queue;
    queue.append("aaa");
    queue.append("");
    queue.appendState(record('b', 4));
    queue.append("cc");
    EXPECT_EQ(contents(queue), "a3 b4 c2 ");
    std::array<std::string_view, 2> two;
    EXPECT_EQ(queue.front(two), 2U);
    queue.consume(1);
    EXPECT_EQ(contents(queue), "a2 b4 c2 ");
    queue.consume(7);
    EXPECT_EQ(contents(queue), "c1 ");
    EXPECT_EQ(queue.unsentBytes(), 1U);
    queue.consume(1);
    EXPECT_TRUE(queue.isEmpty());
}

TEST(SendQueue, KeepsTheBegunRecordAndTheNewestStateBeyondTheLimit) {
    constexpr std::size_t large = SendQueue::limit / 4;
    SendQueue queue;
    queue.append("head");
    for (const char letter : {'a', 'b', 'c'}) {
        queue.appendState(record(letter, large));
    }
    queue.append("note");
    EXPECT_EQ(queue.unsentBytes(), 3 * large + 8); // All still fit.

    queue.consume(5); // "a" is begun.
    queue.appendState(record('d', large + 1));
    EXPECT_EQ(contents(queue),
              "a" + std::to_string(large - 1) + " n4 d" + std::to_string(large + 1) + " ");
    EXPECT_EQ(queue.unsentBytes(), 2 * large + 4);

    // One record above the limit is not refused, and the next takes its place.
    queue.appendState(record('e', 2 * SendQueue::limit));
    queue.appendState(record('f', 7));
    EXPECT_EQ(contents(queue), "a" + std::to_string(large - 1) + " n4 f7 ");

    // A record that is not begun is no better for being the first.
    queue.consume(large - 1 + 4);
    queue.appendState(record('g', SendQueue::limit));
    EXPECT_EQ(contents(queue), "g" + std::to_string(SendQueue::limit) + " ");
}

} // namespace
