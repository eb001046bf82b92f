#pragma once

#include <cstddef>
#include <optional>

#include "core/JSONValue.h"
#include "relay/EncodedMessage.h"

/// {"type": "state", "state": SNAPSHOT}, as it is sent to phones.
///
/// The snapshot goes out unchanged unless that would be longer than the limit. Only then it loses,
/// in this order and no more than needed: the sessions that have ended; the sessions' last
/// messages; of the pending items the largest inputs, suggestions and messages, each replaced by a
/// preview with "truncated": true beside it.
///
/// @param limit the longest that the encoded message may be, in bytes
/// @returns nothing when even that does not fit, or when the snapshot cannot be encoded
[[nodiscard]] std::optional<EncodedMessage> stateMessage(JSONValue snapshot, std::size_t limit);
