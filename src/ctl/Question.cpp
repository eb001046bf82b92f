#include "ctl/Question.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "core/Clock.h"
#include "core/Localized.h"
#include "core/Text.h"

namespace ctl {

namespace {

constexpr std::size_t shortIdLength = 8;
constexpr std::size_t shortestPrefix = 4;

std::string textIn(const JSONValue& value, std::string_view key) {
    const JSONValue* member = value[key];
    const std::string* text = member ? member->string() : nullptr;
    return text ? *text : "";
}

} // namespace

std::optional<Question> Question::from(const JSONValue& item) {
    Question question;
    question.id = textIn(item, "id");
    if (question.id.empty())
        return std::nullopt;
    question.isStop = textIn(item, "kind") == "stop";
    question.client = textIn(item, "client");
    question.tool = textIn(item, "tool");
    question.project = std::filesystem::path(textIn(item, "cwd")).filename().string();
    const JSONValue* expires = item["expiresAt"];
    question.expiresAt = expires ? expires->number().value_or(0) : 0;
    question.item = item;
    return question;
}

std::string_view Question::shortId() const {
    return std::string_view(id).substr(0, shortIdLength);
}

std::string Question::summary() const {
    if (isStop)
        return textIn(item, "lastMessage");
    const JSONValue* input = item["input"];
    if (!input)
        return "";
    for (const char* key : {"command", "file_path"}) {
        const JSONValue* member = (*input)[key];
        if (member && member->string())
            return *member->string();
    }
    return json::compact(*input).value_or("");
}

bool Question::canAlways() const {
    const JSONValue* suggestions = item["suggestions"];
    return suggestions && suggestions->array() && !suggestions->array()->empty();
}

std::vector<Question> questionsIn(const JSONValue& snapshot) {
    std::vector<Question> questions;
    const JSONValue* pending = snapshot["pending"];
    if (!pending || !pending->array())
        return questions;
    for (const JSONValue& item : *pending->array()) {
        if (auto question = Question::from(item))
            questions.push_back(std::move(*question));
    }
    return questions;
}

const Question& questionNamed(const std::vector<Question>& questions, std::string_view id) {
    const auto whole = std::ranges::find(questions, id, &Question::id);
    if (whole != questions.end())
        return *whole;
    if (id.size() < shortestPrefix)
        throw DaemonError(localized("代號至少要 4 個字元"));
    const auto isMeant = [&](const Question& question) { return question.id.starts_with(id); };
    const auto count = std::ranges::count_if(questions, isMeant);
    if (count == 0)
        throw DaemonError(
            localized("沒有代號是 %@ 的問題在等：已經回答過或已逾時", {text::visible(id)}));
    if (count > 1)
        throw DaemonError(localized("代號以 %@ 開頭的問題有 %@ 個，請多打幾個字元",
                                    {text::visible(id), std::to_string(count)}));
    return *std::ranges::find_if(questions, isMeant);
}

std::string titleOf(const Question& question) {
    std::string title = question.isStop         ? localized("停下的回合")
                        : question.tool.empty() ? localized("權限")
                                                : text::visible(question.tool);
    if (!question.project.empty())
        title += localized("（%@）", {text::visible(question.project)});
    return title;
}

std::string outcomeOf(const Question& question, std::string_view action) {
    const std::string title = titleOf(question);
    if (action == "reply")
        return localized("已送出指示：%@", {title});
    if (action == "deny")
        return localized("已拒絕：%@", {title});
    if (action == "allow")
        return localized("已允許：%@", {title});
    if (question.canAlways())
        return localized("已總是允許：%@", {title});
    return localized("已允許：%@（agent 沒有提出可以記住的規則）", {title});
}

std::string remaining(const Question& question) {
    const double left = std::floor((question.expiresAt - wallclock::milliseconds()) / 1000);
    return left > 0 ? localized("剩 %lld 秒", {left}) : localized("時間到了");
}

} // namespace ctl
