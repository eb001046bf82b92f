#pragma once

#include <string>
#include <vector>

#include "core/JSONValue.h"

namespace ctl {

/// A paired phone as the daemon lists it. Texts are as they came.
struct Phone {
    std::string id;
    std::string name;
    double addedAt = 0; ///< milliseconds since 1970; 0 when it is not known
    bool isOnline = false;
};

/// Those of GET /devices, in pairing order.
[[nodiscard]] std::vector<Phone> phonesIn(const JSONValue& devices);

} // namespace ctl
