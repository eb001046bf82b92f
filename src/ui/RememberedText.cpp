#include "ui/RememberedText.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include <QCoreApplication>
#include <QStringList>

#include "core/JSONMember.h"
#include "core/Text.h"
#include "ui/VisibleName.h"

namespace {

struct RememberedText {
    Q_DECLARE_TR_FUNCTIONS(RememberedText)
};

// A tool tip cannot scroll.
constexpr qsizetype mostLines = 16;
constexpr std::size_t mostCharacters = 160; // Of one line.

QString headingOf(std::string_view behavior) {
    if (behavior == "allow")
        return RememberedText::tr("以後不再問，直接允許：");
    if (behavior == "deny")
        return RememberedText::tr("以後一律拒絕：");
    if (behavior == "ask")
        return RememberedText::tr("以後每次都問：");
    return {};
}

QString placeOf(std::string_view destination) {
    if (destination == "session")
        return RememberedText::tr("只在這個工作階段有效（session）。");
    if (destination == "localSettings")
        return RememberedText::tr("寫入這個專案的本機設定（localSettings）。");
    if (destination == "projectSettings")
        return RememberedText::tr("寫入這個專案的共用設定（projectSettings）。");
    if (destination == "userSettings")
        return RememberedText::tr("寫入你的個人設定（userSettings）。");
    return {};
}

QString line(const std::string& text) {
    const std::string_view shown = text::prefix(text, mostCharacters, 4 * mostCharacters);
    return visibleName(QString::fromUtf8(shown.data(), static_cast<qsizetype>(shown.size()))) +
           (shown.size() < text.size() ? QStringLiteral("…") : QString());
}

// "Bash(git push:*)".
std::optional<QString> ruleOf(const JSONValue& rule) {
    const std::string* tool = json::textOf(rule, "toolName");
    const std::string* content = json::textOf(rule, "ruleContent");
    if (!tool || rule.object()->size() != (content ? 2U : 1U))
        return std::nullopt;
    return line(content ? *tool + "(" + *content + ")" : *tool);
}

std::optional<QString> directoryOf(const JSONValue& directory) {
    return directory.string() ? std::optional(line(*directory.string())) : std::nullopt;
}

// Under the heading, each on a line; nothing when one is not of the form that is asked for.
template <typename Entry>
std::optional<QStringList> listed(const QString& heading, const JSONArray& entries, Entry entryOf) {
    QStringList lines{heading};
    for (const JSONValue& entry : entries) {
        const std::optional<QString> shown = entryOf(entry);
        if (!shown)
            return std::nullopt;
        lines << *shown;
    }
    return lines;
}

// Nothing when there is more in the suggestion than these words would say.
std::optional<QStringList> sentences(const JSONValue& suggestion) {
    const std::string* type = json::textOf(suggestion, "type");
    const std::string* destination = json::textOf(suggestion, "destination");
    const QString place = destination ? placeOf(*destination) : QString();
    if (!type || place.isEmpty())
        return std::nullopt;
    const std::size_t members = suggestion.object()->size();
    std::optional<QStringList> lines;
    const JSONValue& rules = json::member(suggestion, "rules");
    const std::string* behavior = json::textOf(suggestion, "behavior");
    const QString heading = behavior ? headingOf(*behavior) : QString();
    if (*type == "addRules" && members == 4 && rules.array() && !heading.isEmpty())
        lines = listed(heading, *rules.array(), ruleOf);
    const JSONValue& directories = json::member(suggestion, "directories");
    if (*type == "addDirectories" && members == 3 && directories.array())
        lines = listed(RememberedText::tr("以後可以使用這些資料夾："), *directories.array(),
                       directoryOf);
    const std::string* mode = json::textOf(suggestion, "mode");
    if (*type == "setMode" && members == 3 && mode)
        lines = {RememberedText::tr("權限模式改成："), line(*mode)};
    if (lines)
        *lines << place;
    return lines;
}

} // namespace

QString rememberedText(const JSONArray& suggestions) {
    QStringList lines;
    for (const JSONValue& suggestion : suggestions) {
        lines << sentences(suggestion)
                     .value_or(QStringList{RememberedText::tr("agent 會照這樣記住："),
                                           line(json::compact(suggestion).value_or(""))});
    }
    if (lines.size() > mostLines) {
        const qsizetype left = lines.size() - (mostLines - 1);
        lines = lines.first(mostLines - 1);
        lines << RememberedText::tr("還有 %1 行沒有顯示").arg(left);
    }
    return lines.join(QLatin1Char('\n'));
}
