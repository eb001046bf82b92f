#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "core/Base64.h"
#include "update/Appcast.h"
#include "update/Download.h"

#include "support/Process.h"
#include "support/TemporaryDirectory.h"

namespace {

using testing::ElementsAre;

// The script that makes a release, with the system's openssl.
struct SignRelease : testing::Test {
    TemporaryDirectory directory;
    std::filesystem::path key = directory / "key.pem";
    std::string output;

    int run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"env", "python3", TAMSELL_SCRIPTS "/sign-release.py"});
        Process process({.program = "/usr/bin/env", .arguments = arguments});
        const int code = process.exitCode();
        output = process.output();
        return code;
    }
    int runItem(const std::string& file, const std::string& version,
                const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments{"item",      file,    "--key", key.string(),
                                           "--version", version, "--url", "files/a&b.deb"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }
};

TEST_F(SignRelease, TheProgramTakesWhatItMakes) {
    ASSERT_EQ(run({"new-key", key.string()}), 0);
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(key).permissions(), perms::owner_read | perms::owner_write);
    const auto bytes = base64::decode(output.substr(0, output.find('\n')));
    ASSERT_TRUE(bytes && bytes->size() == ed25519::publicKeySize);
    ed25519::PublicKey publicKey;
    std::ranges::copy(*bytes, publicKey.begin());

    const std::string content(100'000, '\xA5');
    const std::string file = directory.put("tamsell.deb", content).string();
    const std::string notes = directory.put("notes.txt", "a < b & \"c\"\n第二行\n").string();
    const std::string feed = (directory / "feed.xml").string();
    ASSERT_EQ(runItem(file, "1.0", {"--feed", feed}), 0);
    ASSERT_EQ(runItem(file, "1.1",
                      {"--feed", feed, "--display", "1.1 <春>", "--notes", notes, "--os", "linux"}),
              0);

    const auto items = appcast::parse(contentOf(feed));
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].version, "1.1");
    EXPECT_EQ(items[0].displayVersion, "1.1 <春>");
    EXPECT_EQ(items[0].notes, "a < b & \"c\"\n第二行");
    EXPECT_EQ(items[0].url, "files/a&b.deb");
    EXPECT_EQ(items[0].length, content.size());
    EXPECT_EQ(items[1].version, "1.0");
    const auto message =
        std::span(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
    EXPECT_TRUE(ed25519::verify(publicKey, message, items[0].signature.value()));
    EXPECT_FALSE(ed25519::verify(publicKey, message.first(99'999), items[0].signature.value()));
}

TEST_F(SignRelease, ARefusalWritesNothing) {
    const std::string file = directory.put("tamsell.deb", "x").string();
    const std::string bell = directory.put("bell.txt", "\a").string();
    const std::string feed = directory.put("feed.xml", "<rss>").string();
    const std::string newFeed = (directory / "new.xml").string();
    EXPECT_EQ(runItem(file, "1"), 1) << "without a key";
    ASSERT_EQ(run({"new-key", key.string()}), 0);
    const std::string pem = contentOf(key);
    EXPECT_EQ(run({"new-key", key.string()}), 1) << "over a key";
    EXPECT_EQ(contentOf(key), pem);
    EXPECT_EQ(runItem(file, "1", {"--feed", feed}), 1) << "into what is no feed";
    EXPECT_EQ(contentOf(feed), "<rss>");
    EXPECT_EQ(runItem(file, "1", {"--feed", newFeed, "--notes", bell}), 1) << "what no XML can say";
    EXPECT_EQ(runItem((directory / "none").string(), "1", {"--feed", newFeed}), 1);
    const std::string large = directory.put("large.deb", "x").string();
    std::filesystem::resize_file(large, Download::maximumSize + 1);
    EXPECT_EQ(runItem(large, "1", {"--feed", newFeed}), 1) << "what nobody downloads";
    for (const char* version : {"1 2", "latest"})
        EXPECT_EQ(runItem(file, version, {"--feed", newFeed}), 1) << version;
    for (const char* url : {"http://a.test/x", "file:///x", "https://me@a.test/x", "a b"})
        EXPECT_EQ(runItem(file, "1", {"--feed", newFeed, "--url", url}), 1) << url;
    EXPECT_EQ(runItem(file, "1", {"--feed", newFeed, "--display", "1\n2"}), 1);
    ASSERT_EQ(runItem(file, "1", {"--feed", newFeed}), 0);
    const std::string before = contentOf(newFeed);
    EXPECT_EQ(runItem(file, "1", {"--feed", newFeed}), 1) << "the same version twice";
    EXPECT_EQ(contentOf(newFeed), before);
    std::filesystem::permissions(key, std::filesystem::perms(0644));
    EXPECT_EQ(runItem(file, "2", {"--feed", newFeed}), 1) << "with a key that everybody reads";
    EXPECT_THAT(namesIn(directory.path()), ElementsAre("bell.txt", "feed.xml", "key.pem",
                                                       "large.deb", "new.xml", "tamsell.deb"));
}

} // namespace
