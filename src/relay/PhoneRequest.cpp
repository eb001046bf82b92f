#include "relay/PhoneRequest.h"

#include "core/DaemonError.h"

namespace {

std::string textOf(const JSONObject& request, std::string_view key) {
    return request.optionalString(key).value_or("");
}

void perform(const JSONObject& request, const RelayClient::Handlers& handlers) {
    const std::string type = textOf(request, "type");
    if (type == "answer") {
        JSONObject answer;
        for (const char* key : {"action", "text", "message"})
            if (const JSONValue* value = request.find(key))
                answer.set(key, *value);
        handlers.answer(textOf(request, "target"), answer);
    } else if (type == "mode") {
        handlers.mode(textOf(request, "mode"));
    } else {
        throw DaemonError("unknown request " + type);
    }
}

} // namespace

JSONObject resultOf(const JSONObject& request, const RelayClient::Handlers& handlers) {
    const JSONValue* id = request.find("id");
    JSONObject result{{"type", "result"}, {"re", id ? *id : JSONValue()}, {"ok", true}};
    try {
        perform(request, handlers);
    } catch (const std::exception& failure) {
        result.set("ok", false);
        result.set("error", failure.what());
    }
    return result;
}
