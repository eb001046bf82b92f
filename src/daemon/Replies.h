#pragma once

#include <optional>

#include "core/JSONValue.h"
#include "daemon/Records.h"

/// What goes back to the agent, and out to the phones, about one pending item.
namespace replies {

/// The agent's answer to a permission request; nothing when the action is none of allow, always and
/// deny. "always" carries the agent's own suggestions back unchanged.
[[nodiscard]] std::optional<JSONObject> permission(const PendingItem& item,
                                                   const JSONObject& answer);

/// A new instruction for a stopped turn; nothing unless the action is "reply" with some text.
[[nodiscard]] std::optional<JSONObject> stop(const JSONObject& answer);

/// The one of the two that the item's kind asks for.
[[nodiscard]] std::optional<JSONObject> build(const PendingItem& item, const JSONObject& answer);

/// The message that tells the phones of a new item.
[[nodiscard]] JSONObject notifyPayload(const PendingItem& item);

} // namespace replies
