#include "ctl/Question.h"

#include <gtest/gtest.h>

#include "core/DaemonError.h"

namespace {

std::vector<ctl::Question> waiting() {
    return ctl::questionsIn(JSONObject{
        {"pending", JSONArray{JSONObject{{"id", "aaaa1111"}}, JSONObject{{"id", "aaaa2222"}},
                              JSONObject{{"id", "aaaa"}}, JSONObject{{"kind", "stop"}}}}});
}

TEST(QuestionNamed, IsTheWholeIdOrTheOnlyOneThatBeginsSo) {
    const auto questions = waiting();
    ASSERT_EQ(questions.size(), 3u);
    EXPECT_EQ(ctl::questionNamed(questions, "aaaa2").id, "aaaa2222");
    EXPECT_EQ(ctl::questionNamed(questions, "aaaa").id, "aaaa");
    for (const char* id : {"aaa", "bbbb", "", "aaaa3"})
        EXPECT_THROW((void)ctl::questionNamed(questions, id), DaemonError) << id;
    const std::vector<ctl::Question> twins{questions[0], questions[1]};
    EXPECT_THROW((void)ctl::questionNamed(twins, "aaaa"), DaemonError);
}

} // namespace
