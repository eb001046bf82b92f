#include "hook/Event.h"

#include "hook/JSONScanner.h"

namespace hook {

Hold holdOf(std::string_view event) {
    Member name{.key = "hook_event_name"};
    // The daemon, too, reads an event in which half a surrogate pair is left of a cut text.
    const bool isSure = readMembers(event, std::span(&name, 1), LoneSurrogates::replaced) &&
                        name.count == 1 && name.type == Member::Type::string;
    return isSure && name.text != "PermissionRequest" && name.text != "Stop" ? Hold::never
                                                                             : Hold::perhaps;
}

} // namespace hook
