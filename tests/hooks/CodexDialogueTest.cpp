#include "hooks/CodexDialogue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/CodexLines.h"

using Trust = Hooks::CodexTrust;

namespace {

constexpr const char* home = "/home/a\"b\\";
constexpr const char* question =
    "{\"method\":\"initialized\"}\n"
    "{\"id\":2,\"method\":\"hooks/list\",\"params\":{\"cwds\":[\"/home/a\\\"b\\\"]}}\n";

// All that is said to a server which says this, and how it ends.
CodexDialogue::Step talk(const std::string& server, std::size_t piece) {
    CodexDialogue dialogue(home);
    CodexDialogue::Step all;
    for (std::size_t at = 0; at < server.size() && !all.hasEnded; at += piece) {
        CodexDialogue::Step step = dialogue.take(std::string_view(server).substr(at, piece));
        step.toWrite.insert(0, all.toWrite);
        all = step;
    }
    return all;
}

TEST(CodexDialogue, ReadsWhatServersSayHoweverItIsCut) {
    EXPECT_EQ(CodexDialogue::opening(),
              "{\"id\":1,\"method\":\"initialize\",\"params\":{\"clientInfo\":{\"name\":"
              "\"tamsell\",\"version\":\"0.1.0\"}}}\n");
    const std::string hello = codexLine("02_initialize.response");
    const std::string other = codexLine("08_command_approval.request") +
                              codexLine("10_server_request_resolved.notification");
    const auto listing = [](const std::string& data) {
        return R"({"id":2,"result":{"data":)" + data + "}}\n";
    };
    const auto hook = [](const std::string& members) {
        return R"({"command":"x tamsell-hook y",)" + members + "}";
    };
    struct Case {
        std::string server;
        bool hasAsked;
        bool hasEnded;
        std::optional<Trust> trust;
    };
    const std::vector<Case> cases{
        {hello + codexLine("05_hooks_list.response"), true, true, Trust{1, 4, 1, 1}},
        {hello + other + codexLine("05b_hooks_list.response_all_trusted"), true, true,
         Trust{4, 4, 0, 0}},
        {hello + codexLine("05c_hooks_list.response_parse_warning"), true, true, Trust{}},
        {hello + codexLine("07_method_not_found_old_cli.error"), true, true, {}},
        // Only the id counts, and a server may answer at any time.
        {"{\"id\":1,\"error\":{}}\n" + listing("[]"), true, true, Trust{}},
        {codexLine("06_not_initialized.error"), false, true, {}},
        {hello + hello + hello, true, false, {}},
        // Nothing of these is an answer.
        {"garbage\n[1]\n\n1\n\xff\n{\"id\":\"1\"}\n{\"id\":true}\n{\"id\":1.5}\n{\"id\":3}\n{}\n" +
             std::string(2000, '[') + "\n{\"id\":1}",
         false,
         false,
         {}},
        {listing("{}"), false, true, {}},
        {"{\"id\":2,\"result\":[]}\n", false, true, {}},
        // Whatever is missing or odd in an entry, others count.
        {listing("[1,{},{\"hooks\":{}},{\"hooks\":[null,{},{\"command\":1},"
                 "{\"command\":\"zel-hook\",\"enabled\":true,\"trustStatus\":\"trusted\"}," +
                 hook(R"("enabled":true,"trustStatus":"managed")") + "]},{\"hooks\":[" +
                 hook(R"("enabled":1,"trustStatus":"trusted")") + "," + hook(R"("enabled":true)") +
                 "," + hook(R"("enabled":false,"trustStatus":"modified")") + "]}]") +
             listing("[]"),
         false, true, Trust{1, 4, 0, 2}},
    };
    for (const Case& one : cases) {
        for (const std::size_t piece : {one.server.size(), std::size_t{1}, std::size_t{7}}) {
            const auto all = talk(one.server, piece);
            EXPECT_EQ(all.toWrite, one.hasAsked ? question : "") << one.server;
            EXPECT_EQ(all.hasEnded, one.hasEnded) << one.server;
            EXPECT_EQ(all.trust, one.trust) << one.server;
        }
    }
}

TEST(CodexDialogue, TakesNoLineBeyondItsLimit) {
    const std::string blanks(CodexDialogue::maximumLine, ' ');
    CodexDialogue dialogue(home);
    EXPECT_FALSE(dialogue.take(blanks).hasEnded);
    EXPECT_FALSE(dialogue.take("\n" + blanks.substr(8) + "{\"id\":1}\n").toWrite.empty());
    EXPECT_FALSE(dialogue.take(blanks).hasEnded);
    const auto step = dialogue.take(" \n{\"id\":2,\"result\":{\"data\":[]}}\n");
    EXPECT_TRUE(step.hasEnded);
    EXPECT_EQ(step.trust, std::nullopt);
}

} // namespace
