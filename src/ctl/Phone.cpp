#include "ctl/Phone.h"

#include "core/JSONMember.h"

namespace ctl {

std::vector<Phone> phonesIn(const JSONValue& devices) {
    std::vector<Phone> phones;
    const JSONArray* elements = devices.array();
    if (!elements)
        return phones;
    for (const JSONValue& element : *elements) {
        const std::string* id = json::textOf(element, "id");
        const std::string* name = json::textOf(element, "name");
        if (id)
            phones.push_back({.id = *id,
                              .name = name ? *name : "",
                              .addedAt = json::numberOf(element, "addedAt"),
                              .isOnline = json::isTrue(element, "online")});
    }
    return phones;
}

} // namespace ctl
