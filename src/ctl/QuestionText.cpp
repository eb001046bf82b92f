#include "ctl/QuestionText.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"

namespace ctl {

namespace {

using Kind = TextLine::Kind;

constexpr std::size_t tabWidth = 4;

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
class LineCollector {
  public:
    explicit LineCollector(const JSONObject& input) : m_input(input) {}

    // The member of that name when it is a text, which is shown from then on.
    const std::string* take(std::string_view key) {
        const std::string* text = m_input.string(key);
        if (text)
            m_taken.push_back(key);
        return text;
    }
    [[nodiscard]] bool has(std::string_view key) const { return m_input.string(key) != nullptr; }
    const JSONArray* takeArray(std::string_view key) {
        const JSONValue* member = m_input.find(key);
        const JSONArray* array = member ? member->array() : nullptr;
        if (array)
            m_taken.push_back(key);
        return array;
    }

    void add(Kind kind, std::string_view prefix, std::string_view line) {
        std::string shown(prefix);
        std::size_t column = 0;
        for (;;) {
            const std::size_t tab = std::min(line.find('\t'), line.size());
            const std::string part = text::visible(line.substr(0, tab));
            m_hasHidden = m_hasHidden || part != line.substr(0, tab);
            shown += part;
            if (tab == line.size())
                break;
            column += text::columns(part);
            shown += "→" + std::string(tabWidth - 1 - column % tabWidth, ' ');
            column += tabWidth - column % tabWidth;
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
            m_lines.push_back({Kind::warning, localized("⚠ 裡面有看不見的字元，已經標成 \\u{…}")});
        return std::move(m_lines);
    }

  private:
    const JSONObject& m_input;
    std::vector<std::string_view> m_taken;
    std::vector<TextLine> m_lines;
    bool m_hasHidden = false;
};

void addEdit(LineCollector& lines, std::string_view before, std::string_view after) {
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
        lines.add(Kind::plain, "  ", old[i]);
    for (std::size_t i = same; i < old.size() - sameBehind; ++i)
        lines.add(Kind::removed, "- ", old[i]);
    for (std::size_t i = same; i < now.size() - sameBehind; ++i)
        lines.add(Kind::added, "+ ", now[i]);
    for (std::size_t i = old.size() - sameBehind; i < old.size(); ++i)
        lines.add(Kind::plain, "  ", old[i]);
    if (!before.empty() && !after.empty() && before.ends_with('\n') != after.ends_with('\n'))
        lines.note(after.ends_with('\n') ? localized("最後多了一個換行")
                                         : localized("最後少了一個換行，會和下一行連在一起"));
}

void addPatch(LineCollector& lines, std::string_view patch) {
    for (const std::string_view line : splitLines(patch)) {
        lines.add(line.starts_with('+')   ? Kind::added
                  : line.starts_with('-') ? Kind::removed
                                          : Kind::plain,
                  "", line);
    }
}

void addJSON(LineCollector& lines, const JSONValue& value) {
    lines.addAll(Kind::plain, "", json::pretty(value));
}

// Whether the object has no members but these. More is not to hide behind a form that shows less.
bool hasOnly(const JSONValue& value, std::initializer_list<std::string_view> keys) {
    const JSONObject* object = value.object();
    return object && std::ranges::all_of(*object, [&](const JSONObject::Member& member) {
               return std::ranges::find(keys, member.first) != keys.end();
           });
}

bool addQuestion(LineCollector& lines, const JSONValue& question) {
    const std::string* asked = json::textOf(question, "question");
    const std::string* header = json::textOf(question, "header");
    const JSONValue* options = question["options"];
    if (!asked || !options || !options->array() || (question["header"] && !header) ||
        !hasOnly(question, {"question", "header", "options", "multiSelect"}))
        return false;
    lines.addAll(Kind::plain, header ? *header + localized("：") : "", *asked);
    if (json::isTrue(question, "multiSelect"))
        lines.note(localized("  可複選"));
    for (const JSONValue& option : *options->array()) {
        const std::string* label = json::textOf(option, "label");
        const std::string* description = json::textOf(option, "description");
        if (!label || (option["description"] && !description) ||
            !hasOnly(option, {"label", "description"})) {
            addJSON(lines, option);
            continue;
        }
        lines.addAll(Kind::plain, "  • ", *label);
        if (description)
            lines.addAll(Kind::plain, "    ", *description);
    }
    return true;
}

void addQuestions(LineCollector& lines, const JSONArray& questions) {
    for (const JSONValue& question : questions) {
        if (!addQuestion(lines, question))
            addJSON(lines, question);
    }
    lines.note(localized("這裡不能選；可以拒絕，並把你的選擇寫在原因裡"));
}

void addEdits(LineCollector& lines, const JSONArray& edits) {
    for (const JSONValue& edit : edits) {
        const std::string* before = json::textOf(edit, "old_string");
        const std::string* after = json::textOf(edit, "new_string");
        if (!before || !after || !hasOnly(edit, {"old_string", "new_string", "replace_all"})) {
            addJSON(lines, edit);
            continue;
        }
        lines.note(json::isTrue(edit, "replace_all") ? localized("全部取代：")
                                                     : localized("取代一處："));
        addEdit(lines, *before, *after);
    }
}

void addInput(LineCollector& lines, std::string_view tool) {
    if (const std::string* command = lines.take("command")) {
        if (tool == "apply_patch")
            addPatch(lines, *command);
        else
            lines.addNumbered(*command);
    }
    if (const std::string* path = lines.take("file_path"))
        lines.add(Kind::plain, "", *path);
    if (lines.has("old_string") && lines.has("new_string"))
        addEdit(lines, *lines.take("old_string"), *lines.take("new_string"));
    if (const JSONArray* edits = lines.takeArray("edits"))
        addEdits(lines, *edits);
    if (const std::string* content = lines.take("content"))
        lines.addNumbered(*content);
    if (const std::string* plan = lines.take("plan"))
        lines.addAll(Kind::plain, "", *plan);
    if (const JSONArray* questions = lines.takeArray("questions"))
        addQuestions(lines, *questions);
}

std::string place(const std::string& destination) {
    if (destination == "session")
        return localized("只在這個工作階段有效");
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
        const std::string* tool = json::textOf(rule, "toolName");
        const std::string* content = json::textOf(rule, "ruleContent");
        if (!tool || (rule["ruleContent"] && !content) ||
            !hasOnly(rule, {"toolName", "ruleContent"}))
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
    const std::string* type = json::textOf(suggestion, "type");
    const std::string* destination = json::textOf(suggestion, "destination");
    if (!type || !destination)
        return std::nullopt;
    const std::size_t members = suggestion.object()->size();
    std::optional<std::string> what;
    const JSONValue* rules = suggestion["rules"];
    const std::string* behavior = json::textOf(suggestion, "behavior");
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
            what = localized("可以使用資料夾 %@", {*what});
    }
    const std::string* mode = json::textOf(suggestion, "mode");
    if (*type == "setMode" && members == 3 && mode)
        what = localized("權限模式改成 %@", {text::visible(*mode)});
    if (!what)
        return std::nullopt;
    return localized("%@，%@", {*what, place(*destination)});
}

} // namespace

std::vector<TextLine> linesOf(const Question& question) {
    if (question.isStop) {
        const JSONObject nothing;
        LineCollector lines(nothing);
        if (const std::string* message = json::textOf(question.item, "lastMessage"))
            lines.addAll(Kind::plain, "", *message);
        return std::move(lines).finish();
    }
    const JSONValue* input = question.item["input"];
    if (!input || !input->object()) {
        const JSONObject nothing;
        LineCollector lines(nothing);
        if (input && !input->isNull())
            addJSON(lines, *input);
        else
            lines.note(localized("agent 沒有說要做什麼"));
        return std::move(lines).finish();
    }
    LineCollector lines(*input->object());
    addInput(lines, question.tool);
    const bool isReadable = lines.hasTaken();
    // A claim of the agent's, so it stands behind what it is about.
    const std::string* description = lines.take("description");
    if (const JSONObject rest = lines.rest(); !rest.empty()) {
        if (isReadable)
            lines.note(localized("其他："));
        addJSON(lines, rest);
    }
    if (description)
        lines.addAll(Kind::plain, localized("agent 的說明："), *description);
    return std::move(lines).finish();
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
