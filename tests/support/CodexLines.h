#pragma once

#include <stdexcept>
#include <string>

#include "core/JSONValue.h"
#include "support/TemporaryDirectory.h"

/// A message of Codex's application server as it stands on the wire: one line.
/// @param name of a file in fixtures/codex/app_server, without ".json"
[[nodiscard]] inline std::string codexLine(const std::string& name) {
    const auto value =
        JSONValue::parse(contentOf(TAMSELL_FIXTURES "/codex/app_server/" + name + ".json"));
    if (!value)
        throw std::runtime_error("no fixture " + name);
    return json::compact(*value).value() + "\n";
}
