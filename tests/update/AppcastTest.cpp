#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "core/Base64.h"
#include "core/DaemonError.h"
#include "update/Appcast.h"
#include "update/ReleaseNotes.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string feed(const std::string& items, const std::string& before = "") {
    return R"(<?xml version="1.0" encoding="utf-8"?>)" + before +
           R"(<rss version="2.0" xmlns:r="urn:releases"><channel><title>t</title>)" + items +
           "</channel></rss>";
}

std::string item(const std::string& content, const std::string& attributes = "") {
    return "<item>" + content + R"(<enclosure url="a.deb" )" + attributes + "/></item>";
}

std::string repeated(const std::string& text, int times) {
    std::string result;
    for (; times > 0; --times)
        result += text;
    return result;
}

// The versions of the items that are left in it.
std::vector<std::string> versionsOf(const std::string& items) {
    std::vector<std::string> versions;
    for (const AppcastItem& item : appcast::parse(feed(items)))
        versions.push_back(item.version);
    return versions;
}

TEST(Appcast, ReadsAWholeItemInBothForms) {
    const std::string signature(ed25519::signatureSize, 'x');
    const std::string attributes =
        "length=\"1234\" r:os=\"linux\" r:edSignature=\"" + base64::encode(signature) + "\"";
    AppcastItem expected{.version = "42",
                         .displayVersion = "1.2",
                         .notes = "",
                         .url = "a.deb",
                         .length = 1234,
                         .signature = ed25519::Signature{}};
    expected.signature->fill('x');
    EXPECT_THAT(appcast::parse(feed(item("<r:version> 42\n</r:version>"
                                         "<r:shortVersionString>1.2</r:shortVersionString>",
                                         attributes))),
                ElementsAre(expected));
    EXPECT_THAT(appcast::parse(feed(item(
                    "", attributes + R"( r:version="42" r:shortVersionString="1.2" type="a/b")"))),
                ElementsAre(expected));
}

TEST(Appcast, LeavesOutWhatIsNoUpdateForThisSystem) {
    EXPECT_THAT(
        versionsOf(item("<title>1.0</title>") + item("<version>1</version>", R"(os="windows")") +
                   item("<version>2</version>", R"(arch="sparc")") +
                   "<item><version>3</version></item>"
                   "<item><version>4</version><enclosure url=' '/></item>" +
                   item("<deltas><version>5</version></deltas>") +
                   "<item><version>6</version><deltas><enclosure url='x'/></deltas></item>" +
                   item("<version>7&#x202E;</version>") +
                   item("<version>" + std::string(65, '8') + "</version>") +
                   item("<version>9</version>", R"(os="Linux")")),
        ElementsAre("9"));
    EXPECT_THAT(versionsOf(item("", R"(version="x" arch="amd64")") +
                           item("", R"(version="a" arch="aarch64")")),
                testing::SizeIs(1));
    // Of several files, the one that fits.
    const auto items =
        appcast::parse(feed("<item><version>1</version><enclosure url='w' os='windows'/>"
                            "<enclosure url='l' os='linux'/><enclosure url='other'/></item>"));
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].url, "l");
}

TEST(Appcast, KeepsAnItemWhoseSignatureOrLengthIsNone) {
    for (const std::string& text : {std::string("!"), base64::encode(std::string(63, 'x')),
                                    base64::encode(std::string(65, 'x'))}) {
        const auto items = appcast::parse(
            feed(item("<version>1</version>", "length='-1' edSignature='" + text + "'")));
        ASSERT_EQ(items.size(), 1U);
        EXPECT_FALSE(items[0].signature || items[0].length);
    }
}

TEST(Appcast, RefusesWhatIsNoFeed) {
    const std::string good = item("<version>1</version>");
    const std::string bomb = R"(<!DOCTYPE rss [<!ENTITY a "aaaaaaaaaa"><!ENTITY b "&a;&a;&a;">]>)";
    std::string attributes;
    for (int i = 0; i < 40; ++i)
        attributes += " a" + std::to_string(i) + "='>'";
    const struct {
        std::string bytes;
        std::string error;
    } cases[] = {
        {"", "讀不懂"},
        {"{}", "讀不懂"},
        {"<html/>", "不是 RSS"},
        {"<rss/>", "不是 RSS"},
        {feed(good, bomb), "文件類型宣告"},
        {feed(good, "<!DOCTYPE rss>"), "文件類型宣告"},
        {feed(item("<version>&b;</version>")), "讀不懂"},
        {feed(item("<none:version>1</none:version>")), "讀不懂"},
        {feed(item("<version>1</version></version>")), "讀不懂"},
        {feed(good).substr(0, feed(good).size() - 8), "讀不懂"},
        {feed(good) + "<rss/>", "讀不懂"},
        {feed(item("<version>\xFF</version>")), "讀不懂"},
        {feed(item("<!ENTITY a 'a'>")), "文件類型宣告"},
        {feed(item("<version>" + repeated(" <a>", 20) + "</version>")), "太複雜"},
        {feed("<a" + attributes + "/>"), "太複雜"},
        {feed(repeated("<a/>", 50'000)), "太複雜"},
        {std::string("\xFF\xFE<\0r\0", 6), "UTF-8"},
        {R"(<?xml version="1.0" encoding=")" + std::string(100'000, 'x') + "\"?><rss/>", "讀不懂"},
        {feed("<!--" + std::string(appcast::maximumSize, ' ') + "-->"), "太大"},
    };
    for (const auto& [bytes, error] : cases) {
        try {
            (void)appcast::parse(bytes);
            ADD_FAILURE() << "is taken: " << bytes.substr(0, 400);
        } catch (const DaemonError& refused) {
            EXPECT_THAT(refused.message(), HasSubstr(error)) << bytes.substr(0, 400);
            EXPECT_LT(refused.message().size(), 400U);
        }
    }
    std::string many;
    for (int i = 0; i < 3000; ++i)
        many += "<item/>";
    EXPECT_THROW((void)appcast::parse(feed(many)), DaemonError);
}

TEST(Appcast, TheNewestIsTheHighestAboveTheCurrent) {
    const auto items =
        appcast::parse(feed(item("<version>1.9</version>") + item("<version>1.10</version>") +
                            item("<version>1.10b1</version>")));
    EXPECT_EQ(appcast::newest(items, "1.2").value().version, "1.10");
    EXPECT_FALSE(appcast::newest(items, "1.10.0"));
    EXPECT_FALSE(appcast::newest({}, "0"));
}

TEST(ReleaseNotes, ArePlainTextOfLines) {
    const struct {
        std::string description;
        std::string plain;
    } cases[] = {
        {"\n\n a < b && c > d\r\n\r\n\r\n<version> &amp; stay \n",
         " a < b && c > d\n\n<version> &amp; stay"},
        {"<h2>新功能</h2>\n<ul>\n <li>甲 &amp; 乙</li>\n "
         "<li><b>丙</b>\n丁</li></ul><p>a<br/>b&nbsp;c</p>",
         "新功能\n\n• 甲 & 乙\n• 丙 丁\n\na\nb c"},
        {"x<script>alert('</p>')</script><!-- <p> -->y<STYLE>p{}</STYLE >z<style>to the end",
         "xyz"},
        {R"(<a href="https://x/?a>b" onclick='p'>link</a>&lt;b&gt;&#x202E;&#0;&#xD800;&bogus;)",
         "link<b>\\u{202E}&#0;&#xD800;&bogus;"},
        {"<pre>a  b\n c</pre>", "a  b\n c"},
        {"tab\tand\u3000wide \u202Eback\u200B\x1B[2J",
         "tab    and  wide \\u{202E}back\\u{200B}\\u{001B}[2J"},
        {"<p", "<p"},
        {"a <b <i>c</i>", "a <b c"},
    };
    for (const auto& [description, plain] : cases)
        EXPECT_EQ(releasenotes::plain(description), plain) << description;
}

TEST(ReleaseNotes, HaveAnEnd) {
    std::string bidirectional;
    for (int i = 0; i < 20'000; ++i)
        bidirectional += "\u202E";
    for (const std::string& text : {std::string(1 << 20, 'x'), bidirectional}) {
        const std::string notes = releasenotes::plain(text);
        EXPECT_LE(notes.size(), releasenotes::maximumSize);
        EXPECT_TRUE(notes.ends_with("\n…"));
    }
}

} // namespace
