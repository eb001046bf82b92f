#pragma once

#include <string>
#include <string_view>

#include "core/JSONValue.h"

/// A message encoded once, so that it can be sealed for many phones: each sealing puts an id and a
/// time stamp of its own in front of what was encoded.
class EncodedMessage {
  public:
    /// @throws std::invalid_argument when a number in it is not finite
    explicit EncodedMessage(const JSONObject& message);

    /// Compact JSON with "ts", and with "id" unless the message came with one.
    /// @param id needs no escaping
    /// @param time milliseconds since 1970, whole
    [[nodiscard]] std::string stamped(std::string_view id, double time) const;

    /// How long `stamped` is with an id of 16 characters, until the year 2286.
    [[nodiscard]] std::size_t size() const;

  private:
    std::string m_members; // {…} without what `stamped` adds.
    bool m_hasId;
};
