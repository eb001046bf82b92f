#include "hooks/CodexDialogue.h"

#include <algorithm>

namespace {

constexpr std::string_view program = "tamsell-hook";
// A hook has some twenty values. A line of nothing but brackets would become a hundred times its
// size.
constexpr std::size_t maximumValues = std::size_t{1} << 18;

// The server reads the path as JSON; nothing but the quotation mark is escaped.
std::string quotesEscaped(std::string_view path) {
    std::string escaped;
    for (const char c : path) {
        if (c == '"')
            escaped += '\\';
        escaped += c;
    }
    return escaped;
}

bool isNumber(const JSONValue* value, double number) {
    return value && value->number() == number;
}

void count(const JSONValue& hook, Hooks::CodexTrust& trust) {
    const JSONObject* entry = hook.object();
    const std::string* command = entry ? entry->string("command") : nullptr;
    if (!command || command->find(program) == std::string::npos)
        return;
    ++trust.total;
    const JSONValue* enabled = entry->find("enabled");
    const bool isEnabled = enabled && enabled->boolean() == true;
    const std::string status = entry->optionalString("trustStatus").value_or("");
    if (isEnabled && (status == "trusted" || status == "managed")) {
        ++trust.usable;
    } else if (!isEnabled) {
        ++trust.disabled;
    } else if (status == "modified") {
        ++trust.modified;
    }
}

// Nothing when the answer has no list of hooks.
std::optional<Hooks::CodexTrust> trustIn(const JSONObject& answer) {
    const JSONValue* result = answer.find("result");
    const JSONValue* data = result ? (*result)["data"] : nullptr;
    if (!data || !data->array())
        return std::nullopt;
    Hooks::CodexTrust trust;
    for (const JSONValue& directory : *data->array()) {
        const JSONValue* hooks = directory["hooks"];
        if (!hooks || !hooks->array())
            continue;
        for (const JSONValue& hook : *hooks->array())
            count(hook, trust);
    }
    return trust;
}

} // namespace

CodexDialogue::CodexDialogue(const std::filesystem::path& home)
    : m_question("{\"method\":\"initialized\"}\n"
                 "{\"id\":2,\"method\":\"hooks/list\",\"params\":{\"cwds\":[\"" +
                 quotesEscaped(home.string()) + "\"]}}\n") {}

std::string_view CodexDialogue::opening() {
    return "{\"id\":1,\"method\":\"initialize\",\"params\":{\"clientInfo\":"
           "{\"name\":\"tamsell\",\"version\":\"0.1.0\"}}}\n";
}

CodexDialogue::Step CodexDialogue::take(std::string_view bytes) {
    Step step;
    while (!m_hasEnded) {
        // Only what is new is searched, however many pieces a line comes in.
        const std::size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (m_line.size() + piece.size() > maximumLine) {
            m_hasEnded = true;
            break;
        }
        m_line += piece;
        if (end == std::string_view::npos)
            break;
        bytes.remove_prefix(end + 1);
        const auto message = JSONValue::parse(m_line, maximumValues);
        m_line.clear();
        if (message && message->object())
            hear(*message->object(), step);
    }
    step.hasEnded = m_hasEnded;
    return step;
}

void CodexDialogue::hear(const JSONObject& message, Step& step) {
    const JSONValue* id = message.find("id");
    // Asked once: who keeps on answering the first message without reading would have the questions
    // pile up.
    if (isNumber(id, 1) && !m_hasAsked) {
        m_hasAsked = true;
        step.toWrite += m_question;
    } else if (isNumber(id, 2)) {
        m_hasEnded = true;
        step.trust = trustIn(message);
    }
}
