#include "ctl/CommandLine.h"

#include <algorithm>

#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Commands.h"

namespace ctl {

namespace {

// The command whose words these begin with; two words count for more than one.
const Command* commandOf(std::span<char* const>& arguments) {
    for (const std::size_t count : {std::size_t{2}, std::size_t{1}}) {
        if (arguments.size() < count)
            continue;
        std::string name = arguments[0];
        if (count == 2)
            name.append(" ").append(arguments[1]);
        const auto found = std::ranges::find(commands(), name, &Command::name);
        if (found != commands().end()) {
            arguments = arguments.subspan(count);
            return &*found;
        }
    }
    return nullptr;
}

[[noreturn]] void refuse(const Command* command, const std::string& message) {
    std::string text = message + "\n" + (command ? usage(*command) : usage());
    text.pop_back(); // Who says it ends the line.
    throw UsageError(text);
}

std::string line(const Command& command) {
    std::string text = "tamsellctl ";
    text += command.name;
    if (!command.synopsis.empty())
        text.append(" ").append(command.synopsis);
    return text;
}

// Takes one option, and the word that belongs to it.
void takeOption(const Command& command, std::span<char* const>& rest, Call& call) {
    const std::string_view option = rest.front();
    rest = rest.subspan(1);
    if (option == "--help" || option == "-h") {
        call.helpOnly = true;
        return;
    }
    if (std::ranges::find(command.options, option) == command.options.end())
        refuse(&command, localized("不認得選項 %@", {text::visible(option)}));
    if (option == "--json")
        call.arguments.json = true;
    else if (option == "--ask")
        call.arguments.ask = true;
    else if (option == "--restore")
        call.arguments.restore = true;
    else if (option == "--fix")
        call.arguments.fix = true;
    else if (option == "--yes")
        call.arguments.yes = true;
    else if (option == "--message" && !rest.empty()) {
        call.arguments.message = rest.front();
        rest = rest.subspan(1);
    } else {
        refuse(&command, localized("%@ 後面要有文字", {std::string(option)}));
    }
}

// An id of a phone may begin with a dash, and no option of a command that takes words has only one.
bool isOption(std::string_view word, const Command& command) {
    return word.starts_with("--") || word == "-h" ||
           (command.most == 0 && word.size() > 1 && word.front() == '-');
}

} // namespace

std::string usage() {
    std::string text = localized("用法：tamsellctl 指令 [選項]") + "\n";
    std::size_t widest = 0;
    for (const Command& command : commands())
        widest = std::max(widest, line(command).size());
    for (const Command& command : commands()) {
        const std::string synopsis = line(command);
        text.append("  ").append(synopsis).append(widest - synopsis.size() + 2, ' ');
        text += localized(command.summary) + "\n";
    }
    return text + localized("  --help、--version") + "\n";
}

std::string usage(const Command& command) {
    return localized("用法：") + line(command) + "\n  " + localized(command.summary) + "\n";
}

Call parse(std::span<char* const> arguments) {
    Call call;
    if (arguments.empty())
        refuse(nullptr, localized("缺少指令"));
    const std::string_view first = arguments.front();
    if (first == "--help" || first == "-h" || first == "help") {
        call.helpOnly = true;
        return call;
    }
    call.command = commandOf(arguments);
    if (!call.command)
        refuse(nullptr, localized("沒有「%@」這個指令", {text::visible(first)}));

    bool optionsEnded = false;
    while (!arguments.empty()) {
        const std::string_view word = arguments.front();
        if (!optionsEnded && word == "--") {
            optionsEnded = true;
            arguments = arguments.subspan(1);
        } else if (!optionsEnded && isOption(word, *call.command)) {
            takeOption(*call.command, arguments, call);
        } else {
            call.arguments.words.emplace_back(word);
            arguments = arguments.subspan(1);
        }
    }
    const auto isText = [](const std::string& word) { return text::repaired(word) == word; };
    if (!std::ranges::all_of(call.arguments.words, isText) ||
        !isText(call.arguments.message.value_or("")))
        refuse(call.command, localized("參數不是有效的 UTF-8"));
    if (!call.helpOnly && call.arguments.fix && call.arguments.restore)
        refuse(call.command, localized("--fix 與 --restore 不能一起用"));
    const std::size_t count = call.arguments.words.size();
    if (!call.helpOnly && count < call.command->fewest)
        refuse(call.command, localized("缺少參數"));
    if (!call.helpOnly && count > call.command->most)
        refuse(call.command, localized("參數太多"));
    return call;
}

} // namespace ctl
