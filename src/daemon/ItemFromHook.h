#pragma once

#include <string_view>

#include "core/JSONValue.h"
#include "daemon/Records.h"

/// A new item for an event that is going to be held, created now.
///
/// @param client what `hookbody::detectClient` says of this body
/// @param wait seconds as configured; counted as at least 0 and at most ten years, in whole
///        milliseconds
/// @throws std::system_error when the system gives no random bytes for the id
[[nodiscard]] PendingItem itemFromHook(PendingItem::Kind kind, const JSONObject& body,
                                       std::string_view client, double wait);
