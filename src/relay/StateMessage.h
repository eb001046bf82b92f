#pragma once

#include <cstddef>
#include <optional>

#include "core/JSONValue.h"
#include "relay/EncodedMessage.h"

/// {"type": "state", "state": SNAPSHOT}, as it is sent to phones.
///
/// The snapshot goes out unchanged unless that would be longer than the limit. Only then it loses,
/// step by step until it fits: all sessions that have ended; all sessions' last messages; the
/// largest of what agents have put into the pending items, above all their inputs, each replaced
/// by a preview with "truncated": true beside it; the recent events; the sessions.
///
/// @param limit the longest that the encoded message may be, in bytes
/// @returns nothing when even that does not fit, or when the snapshot cannot be encoded
[[nodiscard]] std::optional<EncodedMessage> stateMessage(JSONValue snapshot, std::size_t limit);
