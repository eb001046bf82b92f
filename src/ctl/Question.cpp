#include "ctl/Question.h"

#include <cmath>
#include <filesystem>

#include "core/Clock.h"
#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Naming.h"

namespace ctl {

namespace {

std::string textOr(const JSONValue& value, std::string_view key) {
    const std::string* text = json::textOf(value, key);
    return text ? *text : "";
}

// The member of a tool's input that says most; null when all of it has to.
const char* summarizedBy(const JSONValue& input) {
    for (const char* key : {"command", "file_path"}) {
        if (json::textOf(input, key))
            return key;
    }
    return nullptr;
}

} // namespace

std::optional<Question> Question::from(const JSONValue& item) {
    Question question;
    question.id = textOr(item, "id");
    if (question.id.empty())
        return std::nullopt;
    question.isStop = textOr(item, "kind") == "stop";
    question.client = textOr(item, "client");
    question.tool = textOr(item, "tool");
    question.project = std::filesystem::path(textOr(item, "cwd")).filename().string();
    question.expiresAt = json::numberOf(item, "expiresAt");
    question.item = item;
    return question;
}

std::string_view Question::shortId() const {
    return naming::shortId(id);
}

std::string Question::summary() const {
    if (isStop)
        return textOr(item, "lastMessage");
    const JSONValue& input = json::member(item, "input");
    if (const char* key = summarizedBy(input))
        return *json::textOf(input, key);
    return input.isNull() ? "" : json::compact(input).value_or("");
}

std::string Question::unsummarized() const {
    const JSONValue& input = json::member(item, "input");
    const char* first = summarizedBy(input);
    std::string names;
    if (!first)
        return names;
    for (const auto& [key, value] : *input.object()) {
        if (key != first && key != "description")
            names += (names.empty() ? "" : "、") + key;
    }
    return names;
}

bool Question::canAlways() const {
    return !json::arrayOf(item, "suggestions").empty();
}

std::vector<Question> questionsIn(const JSONValue& snapshot) {
    std::vector<Question> questions;
    for (const JSONValue& item : json::arrayOf(snapshot, "pending")) {
        if (auto question = Question::from(item))
            questions.push_back(std::move(*question));
    }
    return questions;
}

const Question& questionNamed(const std::vector<Question>& questions, std::string_view id) {
    return naming::find(questions, &Question::id, id,
                        "沒有代號為 %@ 的待回答問題：已經回答過或已逾時",
                        "代號以 %@ 開頭的問題有 %@ 個，請多打幾個字元");
}

std::string titleOf(const Question& question) {
    std::string title = question.isStop         ? localized("停下來的回合")
                        : question.tool.empty() ? localized("權限")
                                                : text::visible(question.tool);
    if (!question.project.empty())
        title += localized("（%@）", {text::visible(question.project)});
    return title;
}

JSONObject answerTo(const Question& question, Action action, const std::string& text) {
    const auto name = [action] {
        switch (action) {
        case Action::allow:
            return "allow";
        case Action::always:
            return "always";
        case Action::deny:
            return "deny";
        case Action::reply:
            break;
        }
        return "reply";
    };
    JSONObject body{{"id", question.id}, {"action", name()}};
    if (action == Action::reply)
        body.set("text", text);
    else if (action == Action::deny && !text.empty())
        body.set("message", text);
    return body;
}

std::string outcomeOf(const Question& question, Action action) {
    const std::string title = titleOf(question);
    switch (action) {
    case Action::allow:
        return localized("已允許：%@", {title});
    case Action::always:
        return question.canAlways()
                   ? localized("已總是允許：%@", {title})
                   : localized("已允許：%@（agent 沒有提出可以記住的規則）", {title});
    case Action::deny:
        return localized("已拒絕：%@", {title});
    case Action::reply:
        break;
    }
    return localized("已送出指示：%@", {title});
}

std::string remaining(const Question& question) {
    const double left = std::floor((question.expiresAt - wallclock::milliseconds()) / 1000);
    return left > 0 ? localized("剩 %lld 秒", {left}) : localized("時間到了");
}

} // namespace ctl
