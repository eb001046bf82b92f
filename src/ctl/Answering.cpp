// The commands that list the waiting questions and answer them.

#include "core/JSONMember.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/Output.h"
#include "ctl/Question.h"

namespace ctl {

namespace {

// So much of what is asked stands on a line of the list, in characters.
constexpr std::size_t summaryLength = 300;

// The beginning of what is asked, and what that leaves out.
std::string beginning(const Question& question) {
    const std::string summary = question.summary();
    const std::string_view shown = text::prefix(summary, summaryLength);
    std::string line = text::visible(shown);
    if (shown.size() < summary.size())
        line += localized("…（還有 %lld 個位元組）",
                          {static_cast<double>(summary.size() - shown.size())});
    const std::string others = question.unsummarized();
    return others.empty() ? line : line + localized("（另有 %@）", {text::visible(others)});
}

std::optional<Action> actionFrom(std::string_view word) {
    if (word == "allow")
        return Action::allow;
    if (word == "always")
        return Action::always;
    if (word == "deny")
        return Action::deny;
    return std::nullopt;
}

} // namespace

int pending(const Context& context, const Arguments& arguments) {
    const JSONValue snapshot = DaemonClient(context).get("/state");
    if (arguments.json) {
        output::writeJSON(json::arrayOf(snapshot, "pending"));
        return 0;
    }
    const auto questions = questionsIn(snapshot);
    if (questions.empty())
        output::write(localized("沒有等待回答的問題") + "\n");
    for (const Question& question : questions) {
        output::write(text::visible(question.shortId()) + "  " + titleOf(question) + "  " +
                      text::visible(question.client) + "  " + remaining(question) + "\n    " +
                      beginning(question) + "\n");
    }
    return 0;
}

int answer(const Context& context, const Arguments& arguments) {
    const auto action = actionFrom(arguments.words[1]);
    if (!action)
        throw UsageError(localized("回答只能是 allow、always 或 deny"));
    if (arguments.message && action != Action::deny)
        throw UsageError(localized("只有 deny 可以加 --message"));
    const DaemonClient daemon(context);
    const auto questions = questionsIn(daemon.get("/state"));
    const Question& question = questionNamed(questions, arguments.words[0]);
    if (question.isStop)
        throw DaemonError(localized("這是停下來的回合，請用「tamsellctl reply」給它指示"));
    daemon.post("/answer", answerTo(question, *action, arguments.message.value_or("")));
    output::write(outcomeOf(question, *action) + "\n");
    return 0;
}

int reply(const Context& context, const Arguments& arguments) {
    const std::string& text = arguments.words[1];
    if (text::trimmed(text).empty())
        throw UsageError(localized("指示不能是空的"));
    const DaemonClient daemon(context);
    const auto questions = questionsIn(daemon.get("/state"));
    const Question& question = questionNamed(questions, arguments.words[0]);
    if (!question.isStop)
        throw DaemonError(localized("這是權限問題，請用「tamsellctl answer」回答"));
    daemon.post("/answer", answerTo(question, Action::reply, text));
    output::write(outcomeOf(question, Action::reply) + "\n");
    return 0;
}

} // namespace ctl
