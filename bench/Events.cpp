#include "Events.h"

#include <arpa/inet.h>

#include "hook/Message.h"
#include "platform/Endpoint.h"

namespace bench::events {

namespace {

std::string head(std::string_view session, std::string_view folder = "orchard") {
    return "{\"session_id\":\"" + std::string(session) +
           "\",\"transcript_path\":\"/home/user/.claude/projects/-home-user-work-orchard/" +
           std::string(session) + ".jsonl\",\"cwd\":\"/home/user/work/" + std::string(folder) +
           "\",\"permission_mode\":\"default\",";
}

} // namespace

std::string toolUse(std::string_view session, std::string_view folder) {
    std::string event =
        head(session, folder) +
        R"("hook_event_name":"PostToolUse","tool_name":"Bash","tool_input":{"command":)"
        R"("ninja -C build && ctest --test-dir build --output-on-failure -R \"Planner|Route\"",)"
        R"("description":"Build, then run the planner’s tests","timeout":120000},)"
        R"("tool_use_id":"toolu_01Qw8ZxExample7","tool_response":{"interrupted":false,)"
        R"("exitCode":0,"isImage":false,"stderr":"","stdout":")";
    constexpr std::string_view end = "\"}}";
    for (int line = 1; event.size() + end.size() < usualSize; ++line) {
        std::string output = "[" + std::to_string(line) + "/42] Building src/planner/Route" +
                             std::to_string(line) + ".cpp.o\\n";
        if (event.size() + output.size() + end.size() > usualSize)
            output = std::string(usualSize - event.size() - end.size(), '.');
        event += output;
    }
    return event.append(end);
}

std::string question(std::string_view session, std::string_view command) {
    return head(session) +
           R"("hook_event_name":"PermissionRequest","tool_name":"Bash","tool_input":{"command":")" +
           std::string(command) +
           R"(","description":"Push the release branch"},)"
           R"("permission_suggestions":[{"type":"addRules","rules":[{"toolName":"Bash",)"
           R"("ruleContent":"git push:*"}],"behavior":"allow","destination":"localSettings"}]})";
}

std::string post(std::uint16_t port, std::string_view event) {
    Endpoint to;
    to.address = {127, 0, 0, 1};
    to.port = port;
    return hook::requestHead(to, event.size(), "/usr/local/bin/claude --model opus", "")
        .append(event);
}

} // namespace bench::events
