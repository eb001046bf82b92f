#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ctl/Context.h"
#include "ctl/Finding.h"

namespace ctl {

/// One mend that was tried.
struct Mended {
    std::string what;                    ///< "重新安裝服務"
    std::optional<std::string> obstacle; ///< why it was not done, made visible
};

/// Does what the findings allow, each mend once, in the order of `Mend`. What belongs to another
/// user, and a settings file that is not understood, stays as it is. Never fails.
[[nodiscard]] std::vector<Mended> mendAll(const Context& context, const Findings& findings);

} // namespace ctl
