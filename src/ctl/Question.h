#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/DaemonError.h"
#include "core/JSONValue.h"

namespace ctl {

/// A waiting item of the snapshot, as this program needs it. Texts are as they came.
struct Question {
    std::string id;
    bool isStop = false; ///< a stopped turn, to be given an instruction; else a permission
    std::string client;
    std::string tool;     ///< "" when the agent named none
    std::string project;  ///< the last part of the working directory
    double expiresAt = 0; ///< milliseconds since 1970
    JSONValue item;       ///< all of it

    /// Nothing when the value has no id.
    [[nodiscard]] static std::optional<Question> from(const JSONValue& item);

    /// The beginning of the id by which a person names it: eight characters.
    [[nodiscard]] std::string_view shortId() const;
    /// What is asked, on one line: the command, the file, the last message, else the input.
    [[nodiscard]] std::string summary() const;
    /// The names of what else the input has, as a list; what the agent only says about it is left
    /// out.
    [[nodiscard]] std::string unsummarized() const;
    /// Whether always allowing would tell the agent to remember something.
    [[nodiscard]] bool canAlways() const;
};

/// The waiting items of a snapshot, oldest first.
[[nodiscard]] std::vector<Question> questionsIn(const JSONValue& snapshot);

/// The one whose id begins so: the whole id, or at least four characters of it.
/// @throws DaemonError when there is none, or more than one
[[nodiscard]] const Question& questionNamed(const std::vector<Question>& questions,
                                            std::string_view id);

/// "Bash（orchard）": what the question is about, made visible.
[[nodiscard]] std::string titleOf(const Question& question);

/// What a question can be answered with. Only a stopped turn takes a reply, and only that.
enum class Action { allow, always, deny, reply };

/// The body of POST /answer.
/// @param text the instruction of a reply, or why it is denied; may be empty for a denial
[[nodiscard]] JSONObject answerTo(const Question& question, Action action,
                                  const std::string& text = {});

/// "已允許：Bash（orchard）": what became of a question that was answered so.
[[nodiscard]] std::string outcomeOf(const Question& question, Action action);

/// "剩 118 秒", or that it is over.
[[nodiscard]] std::string remaining(const Question& question);

} // namespace ctl
