#include "ctl/QuestionText.h"

#include <algorithm>

#include "core/Localized.h"
#include "core/Text.h"

namespace ctl {

namespace {

using Kind = TextLine::Kind;

constexpr std::size_t tabWidth = 4;

const std::string* textIn(const JSONValue& value, std::string_view key) {
    const JSONValue* member = value[key];
    return member ? member->string() : nullptr;
}

// A line feed at the end ends the last line and begins none.
std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

// Collects the lines, and keeps in mind which members of the input they show.
class Reading {
  public:
    explicit Reading(const JSONObject& input) : m_input(input) {}

    // The member of that name when it is a text, which is shown from then on.
    const std::string* take(std::string_view key) {
        const JSONValue* member = m_input.find(key);
        return member && member->string() ? (m_taken.push_back(key), member->string()) : nullptr;
    }
    const JSONArray* takeArray(std::string_view key) {
        const JSONValue* member = m_input.find(key);
        return member && member->array() ? (m_taken.push_back(key), member->array()) : nullptr;
    }

    void add(Kind kind, std::string_view prefix, std::string_view line) {
        std::string shown(prefix);
        for (;;) {
            const std::size_t tab = std::min(line.find('\t'), line.size());
            const std::string part = text::visible(line.substr(0, tab));
            m_hasHidden = m_hasHidden || part != line.substr(0, tab);
            shown += part;
            if (tab == line.size())
                break;
            const std::size_t column = text::columns(shown) - text::columns(prefix);
            shown += "→" + std::string(tabWidth - 1 - column % tabWidth, ' ');
            line.remove_prefix(tab + 1);
        }
        m_lines.push_back({kind, std::move(shown)});
    }
    void addAll(Kind kind, std::string_view prefix, std::string_view text) {
        for (const std::string_view line : splitLines(text))
            add(kind, prefix, line);
    }
    void addNumbered(std::string_view text) {
        const auto lines = splitLines(text);
        if (lines.empty())
            note(localized("（空的）"));
        const std::size_t width = std::to_string(lines.size()).size();
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const std::string number = std::to_string(i + 1);
            add(Kind::plain,
                lines.size() == 1 ? "" : std::string(width - number.size(), ' ') + number + "  ",
                lines[i]);
        }
    }
    void note(std::string text) { m_lines.push_back({Kind::note, std::move(text)}); }

    // What no line has shown.
    [[nodiscard]] JSONObject rest() const {
        JSONObject rest;
        for (const auto& [key, value] : m_input) {
            if (std::ranges::find(m_taken, key) == m_taken.end())
                rest.set(key, value);
        }
        return rest;
    }
    [[nodiscard]] bool hasTaken() const { return !m_taken.empty(); }

    std::vector<TextLine> finish() && {
        if (m_hasHidden)
            note(localized("⚠ 裡面有看不見的字元，已經標成 \\u{…}"));
        return std::move(m_lines);
    }

  private:
    const JSONObject& m_input;
    std::vector<std::string_view> m_taken;
    std::vector<TextLine> m_lines;
    bool m_hasHidden = false;
};

void addEdit(Reading& reading, std::string_view before, std::string_view after) {
    const auto old = splitLines(before);
    const auto now = splitLines(after);
    // Lines that stay at the beginning and the end are there to find one's way.
    const std::size_t shorter = std::min(old.size(), now.size());
    std::size_t same = 0;
    while (same < shorter && old[same] == now[same])
        ++same;
    std::size_t sameBehind = 0;
    while (sameBehind < shorter - same &&
           old[old.size() - 1 - sameBehind] == now[now.size() - 1 - sameBehind])
        ++sameBehind;
    for (std::size_t i = 0; i < same; ++i)
        reading.add(Kind::plain, "  ", old[i]);
    for (std::size_t i = same; i < old.size() - sameBehind; ++i)
        reading.add(Kind::removed, "- ", old[i]);
    for (std::size_t i = same; i < now.size() - sameBehind; ++i)
        reading.add(Kind::added, "+ ", now[i]);
    for (std::size_t i = old.size() - sameBehind; i < old.size(); ++i)
        reading.add(Kind::plain, "  ", old[i]);
    if (before != after && old == now)
        reading.note(localized("只差在最後的換行"));
}

void addPatch(Reading& reading, std::string_view patch) {
    for (const std::string_view line : splitLines(patch)) {
        reading.add(line.starts_with('+')   ? Kind::added
                    : line.starts_with('-') ? Kind::removed
                                            : Kind::plain,
                    "", line);
    }
}

void addJSON(Reading& reading, const JSONValue& value) {
    reading.addAll(Kind::plain, "", json::pretty(value));
}

void addQuestions(Reading& reading, const JSONArray& questions) {
    for (const JSONValue& question : questions) {
        const std::string* asked = textIn(question, "question");
        const JSONValue* options = question["options"];
        if (!asked || !options || !options->array()) {
            addJSON(reading, question);
            continue;
        }
        reading.addAll(Kind::plain, "", *asked);
        const JSONValue* several = question["multiSelect"];
        if (several && several->boolean().value_or(false))
            reading.note(localized("  可以選好幾個"));
        for (const JSONValue& option : *options->array()) {
            const std::string* label = textIn(option, "label");
            if (!label) {
                addJSON(reading, option);
                continue;
            }
            reading.addAll(Kind::plain, "  • ", *label);
            if (const std::string* description = textIn(option, "description"))
                reading.addAll(Kind::plain, "    ", *description);
        }
    }
    reading.note(localized("這裡沒辦法選；按 D 可以把你的選擇寫給 agent"));
}

void addEdits(Reading& reading, const JSONArray& edits) {
    for (const JSONValue& edit : edits) {
        const std::string* before = textIn(edit, "old_string");
        const std::string* after = textIn(edit, "new_string");
        if (!before || !after) {
            addJSON(reading, edit);
            continue;
        }
        const JSONValue* all = edit["replace_all"];
        reading.note(all && all->boolean().value_or(false) ? localized("每一處都換：")
                                                           : localized("換一處："));
        addEdit(reading, *before, *after);
    }
}

void addInput(Reading& reading) {
    if (const std::string* command = reading.take("command")) {
        if (command->starts_with("*** Begin Patch"))
            addPatch(reading, *command);
        else
            reading.addNumbered(*command);
    }
    if (const std::string* path = reading.take("file_path"))
        reading.add(Kind::plain, "", *path);
    const JSONObject rest = reading.rest();
    const JSONValue* before = rest.find("old_string");
    const JSONValue* after = rest.find("new_string");
    if (before && before->string() && after && after->string())
        addEdit(reading, *reading.take("old_string"), *reading.take("new_string"));
    if (const JSONArray* edits = reading.takeArray("edits"))
        addEdits(reading, *edits);
    if (const std::string* content = reading.take("content"))
        reading.addNumbered(*content);
    if (const std::string* plan = reading.take("plan"))
        reading.addAll(Kind::plain, "", *plan);
    if (const JSONArray* questions = reading.takeArray("questions"))
        addQuestions(reading, *questions);
}

std::string place(const std::string& destination) {
    if (destination == "session")
        return localized("只在這個 session 有效");
    if (destination == "localSettings")
        return localized("寫進專案的 .claude/settings.local.json");
    if (destination == "projectSettings")
        return localized("寫進專案的 .claude/settings.json");
    if (destination == "userSettings")
        return localized("寫進你的 ~/.claude/settings.json");
    return localized("寫進 %@", {text::visible(destination)});
}

// "Bash(git push:*)、Read", or nothing when one is not of the known form.
std::optional<std::string> ruleNames(const JSONArray& rules) {
    std::string names;
    for (const JSONValue& rule : rules) {
        const std::string* tool = textIn(rule, "toolName");
        const std::string* content = textIn(rule, "ruleContent");
        if (!tool || rule.object()->size() != (content ? 2U : 1U))
            return std::nullopt;
        names += (names.empty() ? "" : localized("、")) + text::visible(*tool);
        if (content)
            names += "(" + text::visible(*content) + ")";
    }
    return names;
}

std::optional<std::string> directoryNames(const JSONArray& directories) {
    std::string names;
    for (const JSONValue& directory : directories) {
        if (!directory.string())
            return std::nullopt;
        names += (names.empty() ? "" : localized("、")) + text::visible(*directory.string());
    }
    return names;
}

// Nothing when there is more in the suggestion than a sentence of ours would say.
std::optional<std::string> sentence(const JSONValue& suggestion) {
    const std::string* type = textIn(suggestion, "type");
    const std::string* destination = textIn(suggestion, "destination");
    if (!type || !destination)
        return std::nullopt;
    const std::size_t members = suggestion.object()->size();
    std::optional<std::string> what;
    const JSONValue* rules = suggestion["rules"];
    const std::string* behavior = textIn(suggestion, "behavior");
    if (*type == "addRules" && members == 4 && rules && rules->array() && behavior) {
        what = ruleNames(*rules->array());
        if (what && *behavior == "allow")
            what = localized("允許 %@", {*what});
        else if (what)
            what = text::visible(*behavior) + " " + *what;
    }
    const JSONValue* directories = suggestion["directories"];
    if (*type == "addDirectories" && members == 3 && directories && directories->array()) {
        what = directoryNames(*directories->array());
        if (what)
            what = localized("可以使用目錄 %@", {*what});
    }
    const std::string* mode = textIn(suggestion, "mode");
    if (*type == "setMode" && members == 3 && mode)
        what = localized("權限模式換成 %@", {text::visible(*mode)});
    if (!what)
        return std::nullopt;
    return *what + localized("，") + place(*destination);
}

} // namespace

std::vector<TextLine> linesOf(const Question& question) {
    if (question.isStop) {
        const JSONObject nothing;
        Reading reading(nothing);
        if (const std::string* message = textIn(question.item, "lastMessage"))
            reading.addAll(Kind::plain, "", *message);
        return std::move(reading).finish();
    }
    const JSONValue* input = question.item["input"];
    if (!input || !input->object()) {
        const JSONObject nothing;
        Reading reading(nothing);
        if (input && !input->isNull())
            addJSON(reading, *input);
        else
            reading.note(localized("agent 沒有說要做什麼"));
        return std::move(reading).finish();
    }
    Reading reading(*input->object());
    addInput(reading);
    const bool isReadable = reading.hasTaken();
    // A claim of the agent's, so it stands behind what it is about.
    const std::string* description = reading.take("description");
    if (const JSONObject rest = reading.rest(); !rest.empty()) {
        if (isReadable)
            reading.note(localized("其他："));
        addJSON(reading, rest);
    }
    if (description)
        reading.addAll(Kind::plain, localized("agent 的說明："), *description);
    return std::move(reading).finish();
}

std::vector<std::string> rememberedBy(const Question& question) {
    std::vector<std::string> lines;
    if (!question.canAlways())
        return lines;
    for (const JSONValue& suggestion : *question.item["suggestions"]->array()) {
        lines.push_back(
            sentence(suggestion).value_or(text::visible(json::compact(suggestion).value_or(""))));
    }
    return lines;
}

} // namespace ctl
