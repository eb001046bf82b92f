#pragma once

#include <optional>

#include "core/JSONValue.h"
#include "relay/RelayClient.h"

/// Does what a phone asks for with an opened message: {"type": "answer", "target", …} or
/// {"type": "mode", "mode"}.
///
/// @returns {"type": "result", "re": the request's id, "ok"}, and "error" when it could not be done
[[nodiscard]] JSONObject resultOf(const JSONObject& request, const RelayClient::Handlers& handlers);
