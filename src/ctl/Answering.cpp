// The commands that list the waiting questions and answer them.

#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "ctl/Question.h"

namespace ctl {

namespace {

// So much of what is asked stands on a line of the list, in characters.
constexpr std::size_t summaryLength = 300;

} // namespace

int pending(const Context& context, const Arguments& arguments) {
    const JSONValue snapshot = DaemonClient(context).get("/state");
    if (arguments.json) {
        const JSONValue* items = snapshot["pending"];
        output::writeJSON(items ? *items : JSONValue(JSONArray()));
        return 0;
    }
    const auto questions = questionsIn(snapshot);
    if (questions.empty())
        output::write(localized("沒有等待回答的問題") + "\n");
    for (const Question& question : questions) {
        output::write(text::visible(question.shortId()) + "  " + titleOf(question) + "  " +
                      text::visible(question.client) + "  " + remaining(question) + "\n    " +
                      text::visible(text::prefix(question.summary(), summaryLength)) + "\n");
    }
    return 0;
}

int answer(const Context& context, const Arguments& arguments) {
    const std::string& action = arguments.words[1];
    if (action != "allow" && action != "always" && action != "deny")
        throw UsageError(localized("回答只能是 allow、always 或 deny"));
    if (arguments.message && action != "deny")
        throw UsageError(localized("只有 deny 可以加 --message"));
    const DaemonClient daemon(context);
    const auto questions = questionsIn(daemon.get("/state"));
    const Question& question = questionNamed(questions, arguments.words[0]);
    if (question.isStop)
        throw DaemonError(localized("這是停下的回合，請用「tamsellctl reply」給它指示"));
    JSONObject body{{"id", question.id}, {"action", action}};
    if (arguments.message)
        body.set("message", *arguments.message);
    daemon.post("/answer", body);
    output::write(outcomeOf(question, action) + "\n");
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
    daemon.post("/answer", {{"id", question.id}, {"action", "reply"}, {"text", text}});
    output::write(outcomeOf(question, "reply") + "\n");
    return 0;
}

} // namespace ctl
