#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "support/PhoneDouble.h"

// A phone for the demonstration: pairs by the link on its standard input, waits for a question and
// allows it. It prints a line for each step as soon as it is done.

namespace {

void say(const std::string& step) {
    std::puts(step.c_str());
    std::fflush(stdout);
}

std::string lineOfInput() {
    std::string line;
    for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar())
        line += static_cast<char>(c);
    return line;
}

std::string textIn(const JSONObject& message, std::string_view key) {
    return message.optionalString(key).value_or("");
}

void play(PhoneDouble& phone) {
    phone.pair(lineOfInput(), "Demo phone");
    say("paired as " + phone.identity().device);
    phone.connect();
    phone.waitFor("state");
    say("connected, and has the state");
    const JSONObject question = phone.waitFor("notify");
    const std::string target = textIn(question, "target");
    say("is asked: " + textIn(question, "tool") + ", " + textIn(question, "detail"));
    const JSONObject result = phone.resultOf(phone.answer(target, {{"action", "allow"}}));
    const JSONValue* isDone = result.find("ok");
    if (!isDone || isDone->boolean() != true)
        throw std::runtime_error("the computer did not take the answer: " +
                                 textIn(result, "error"));
    say("allows it, and knows that the computer has the answer");
    phone.waitFor("clear");
    say("puts the question away");
}

} // namespace

int main(int argc, char* argv[]) {
    PhoneDouble::Options options;
    options.patience = std::chrono::seconds(60);
    if (argc == 3 && std::string_view(argv[1]) == "--authorities") {
        options.authorities = argv[2];
    } else if (argc != 1) {
        std::fputs("usage: phone-double [--authorities FILE] < LINK\n", stderr);
        return 2;
    }
    try {
        PhoneDouble phone(options);
        play(phone);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "phone-double: %s\n", failure.what());
        return 1;
    }
}
