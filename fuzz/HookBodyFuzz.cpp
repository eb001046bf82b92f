#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/Text.h"
#include "daemon/Activity.h"
#include "daemon/HookBody.h"
#include "daemon/Snapshot.h"

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

} // namespace

// Repairing must change nothing but lone surrogate escapes, and whatever an agent sends must end up
// in a snapshot that others can parse.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view body(reinterpret_cast<const char*>(data), size);

    const std::string repaired = hookbody::withoutLoneSurrogates(body);
    require(repaired.size() == body.size());
    require(hookbody::withoutLoneSurrogates(repaired) == repaired);
    for (std::size_t i = 0; i < size; ++i) {
        // A changed byte is one of the four digits of an escape.
        if (repaired[i] != body[i]) {
            const std::size_t escape = repaired.rfind("\\uFFFD", i);
            require(escape != std::string::npos && i - escape >= 2 && i - escape < 6);
        }
    }
    if (JSONValue::parse(body))
        require(repaired == body);

    const JSONObject parsed = hookbody::parse(body);
    Activity activity;
    const Session& session = activity.record(parsed, hookbody::detectClient(parsed), 1);
    require(session.events == 1);
    require(text::prefix(activity.recent().front().summary, 200) ==
            activity.recent().front().summary);

    auto item = std::make_shared<PendingItem>();
    item->input = parsed;
    item->lastMessage = parsed.optionalString("last_assistant_message");
    const PendingItems pending{item};
    const SnapshotSource source{{}, activity, pending, JSONValue()};
    SnapshotEncoder encoder;
    std::string text;
    encoder.append(text, source);
    // Two levels deeper than the body, so it may be refused for its depth alone.
    const auto read = JSONValue::parse(text);
    require(!read || *read == snapshot(source));
    return 0;
}
