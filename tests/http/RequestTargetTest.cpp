#include "http/RequestTarget.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

namespace {

using Query = std::map<std::string, std::string, std::less<>>;

TEST(RequestTarget, HasADecodedPathAndQuery) {
    const struct {
        const char* reference;
        const char* path;
        Query query;
    } cases[] = {
        {"/state?token=a%20b&x", "/state", {{"token", "a b"}, {"x", ""}}},
        {"/?a=1&a=2", "/", {{"a", "2"}}},
        {"/?a=b+c", "/", {{"a", "b+c"}}},
        {"/?a=b=c%26d&%3D=e", "/", {{"a", "b=c&d"}, {"=", "e"}}},
        {"/?a=/x?y:@z", "/", {{"a", "/x?y:@z"}}},
        {"/?a=", "/", {{"a", ""}}},
        {"/?", "/", {}},
        {"/%E6%9C%AA/%2Fx%3Fy", "/\u672a//x?y", {}},
        {"/a#b?c=d", "/a", {}},
        {"/a?c=d#?e=f", "/a", {{"c", "d"}}},
        {"?a=b", "", {{"a", "b"}}},
        {"http://host/path?x=1", "/path", {{"x", "1"}}},
        {"http://u:p@[::1]:80/p", "/p", {}},
        {"http://host:8080?x=1", "", {{"x", "1"}}},
        {"//host/path", "/path", {}},
        {"*", "*", {}},
    };
    for (const auto& [reference, path, query] : cases) {
        const auto target = RequestTarget::parse(reference);
        ASSERT_TRUE(target.has_value()) << reference;
        EXPECT_EQ(target->path, path) << reference;
        EXPECT_EQ(target->query, query) << reference;
    }
}

TEST(RequestTarget, RefusesWhatIsNoReference) {
    for (const char* const reference :
         {"/%",     "/%2",        "/%zz",      "/a?b=%4",      "/%FF",  "/%ED%A0%80", "/a?b=%C3",
          "/\"",    "/a|b",       "/a[b]",     "/caf\xC3\xA9", "/a\tb", "1:x",        ":x",
          "//[::1", "//host:8x/", "//[::1]8/", "//a b/",       "/a#%",  "/a#b#c"}) {
        EXPECT_FALSE(RequestTarget::parse(reference).has_value()) << reference;
    }
}

} // namespace
