#pragma once

#include <string_view>

/// Whether both are the same non-empty bytes. The time depends on the lengths alone, so a caller
/// learns nothing about a secret from how long a refusal took.
[[nodiscard]] bool constantTimeEqual(std::string_view left, std::string_view right);
