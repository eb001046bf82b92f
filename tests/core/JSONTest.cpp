#include <bit>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>

#include <gmock/gmock.h>

#include "core/JSONValue.h"
#include "support/TemporaryDirectory.h"

namespace {

using testing::Optional;

std::string nested(std::string_view open, std::string_view inner, std::string_view close,
                   int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i)
        text += open;
    text += inner;
    for (int i = 0; i < levels; ++i)
        text += close;
    return text;
}

JSONValue parsed(std::string_view text) {
    auto value = JSONValue::parse(text);
    EXPECT_TRUE(value) << text.substr(0, 200);
    return value.value_or(JSONValue());
}

std::string recoded(std::string_view text) {
    return json::compact(parsed(text)).value_or("<nothing>");
}

TEST(JSON, AcceptsTheGrammar) {
    for (const std::string& text :
         {std::string("{}"), std::string("[]"), std::string("null"), std::string("true"),
          std::string("false"), std::string("\"\""), std::string("0"), std::string("-0"),
          std::string(" \t\r\n[ 1 , 2 ] \n"), std::string("\n 1.5e-3\t"), std::string(" \"a\" "),
          std::string(R"(["\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00"])"), std::string("[1E+2,1e2,0.0]"),
          std::string("[\"\x7f\u2028\xef\xbf\xbf\"]"), std::string(R"({"":{"a":[{}]}})"),
          nested("[", "", "]", 512), nested("{\"a\":", "1", "}", 512),
          nested("[{\"a\":", "1", "}]", 256)})
        EXPECT_TRUE(JSONValue::parse(text)) << text.substr(0, 60);
}

TEST(JSON, RefusesEverythingElse) {
    // Grammar, tricks with the end of the text, and escapes; "`" ends each.
    std::istringstream lines(
        R"(nul`nulll`True`truefalse`NaN`Infinity`-`+1`01`-01`1.`.5`1e`1e+`0x10`[1.5.2]`[1a]`[1e400]`)"
        R"(-1e400`[nulla]`[nul]`[tru]`'a'`[1,]`[,1]`[1 2]`[1}`{1}`[}`{]`[`{`]`}`{"a"}`{"a":}`)"
        R"({"a" 1}`{"a":1,}`{,}`{"a":1 "b":2}`{"a":1,"b"}`{a:1}`{1:2}`{null:1}`[1/**/]`1 2`1,2`1][2`)"
        R"(1]`],[`"a","b"`"a"]`"a"b`"a`a"`"\"`[1]]`[1],`[1]1`{"a":1}}`{}{}`{} x`"\x"`"\u12"`)"
        R"("\u12g4"`"\ud800"`"\ud800x"`"\udc00"`"\ud83d\ud83d"`{"\ud800":1}`)");
    std::vector<std::string> texts{"",         " ",    "\n",         "// c\n1",   "\"\t\"",
                                   "\"a\nb\"", "\f[]", "\xc2\xa0[]", "[]\xc2\xa0"};
    for (std::string line; std::getline(lines, line, '`');)
        texts.push_back(line);
    for (const char* invalid : {"\xff", "\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82"})
        texts.push_back("\"" + std::string(invalid) + "\"");
    for (const char* text : {"\xef\xbb\xbf{}", "\xef\xbb\xbf 1", "{}\xef\xbb\xbf"})
        texts.emplace_back(text); // a byte order mark
    for (const char* text : {"[]?", "?[]", "1?", "[1?]", "\"?\""}) {
        texts.emplace_back(text);
        std::ranges::replace(texts.back(), '?', '\0');
    }
    texts.push_back(nested("[", "", "]", 513));
    texts.push_back(nested("{\"a\":", "1", "}", 513));
    texts.push_back(nested("[", "", "]", 200'000));
    texts.push_back(nested("[", "", "", 200'000));
    texts.push_back(nested("{\"a\":", "", "", 200'000));
    for (const std::string& text : texts)
        EXPECT_FALSE(JSONValue::parse(text)) << text.substr(0, 60);
}

TEST(JSON, NumbersKeepTheirDecimalValue) {
    const struct {
        const char* read;
        const char* written;
    } cases[] = {
        {"1700000000123", "1700000000123"},
        {"1.7e12", "1700000000000"},
        {"1.0", "1"},
        {"-0", "-0"},
        {"-0.0", "-0"},
        {"0e999999999999999999999", "0"},
        {"0.1", "0.1"},
        {"1e23", "1e+23"},
        {"100000000000000000000", "1e+20"},
        {"9007199254740992", "9007199254740992"},
        {"5e-324", "5e-324"},
        {"1.7976931348623157e308", "1.7976931348623157e+308"},
        // No double has these values; their own text is carried through.
        {"9007199254740993", "9007199254740993"},
        {"-9007199254740993", "-9007199254740993"},
        {"12345678901234567890", "12345678901234567890"},
        {"0.1000000000000000055511151231257827", "0.1000000000000000055511151231257827"},
        {"123456789.12345678901", "123456789.12345678901"},
        {"1e-400", "1e-400"},
        {"2e-324", "2e-324"},
        {"1e-99999999999999999999", "1e-99999999999999999999"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(recoded(one.read), one.written);
        EXPECT_EQ(recoded("[" + std::string(one.read) + " \n]"),
                  "[" + std::string(one.written) + "]");
        EXPECT_EQ(parsed(one.read), JSONValue(std::strtod(one.read, nullptr))) << "a double to all";
    }
    std::string tenth = "0.1" + std::string(398, '0') + "1";
    EXPECT_EQ(recoded(tenth), tenth);
    EXPECT_EQ(parsed(tenth), JSONValue(0.1));
    EXPECT_EQ(parsed("12345678901234567890"), parsed("12345678901234567891"));
}

TEST(JSON, OfEquivalentKeysTheLastWins) {
    EXPECT_EQ(recoded(R"({"a":1,"b":2,"a":3})"), R"({"a":3,"b":2})");
    const JSONValue value = parsed("{\"caf\u00e9\":1,\"x\":0,\"cafe\u0301\":2}");
    ASSERT_EQ(value.object()->size(), 2U);
    for (const char* form : {"caf\u00e9", "cafe\u0301"})
        EXPECT_THAT(value[form], testing::Pointee(JSONValue(2))) << form;
    EXPECT_EQ(value["cafe"], nullptr);
    EXPECT_EQ(value, parsed("{\"x\":0,\"caf\u00e9\":2}"));

    JSONObject object;
    object.set("cafe\u0301", 1);
    object.set("caf\u00e9", 2);
    EXPECT_EQ(object.size(), 1U);
    object.set("K", 3);
    EXPECT_THAT(object.find("\u212a"), testing::Pointee(JSONValue(3))) << "the kelvin sign";
    EXPECT_TRUE(object.erase("caf\u00e9"));
    EXPECT_FALSE(object.erase("caf\u00e9"));
    EXPECT_EQ(object.size(), 1U);
}

// The order of an object's members rests on comparing keys; every key must be found again.
TEST(JSON, EveryKeyIsFoundInEveryCompany) {
    std::mt19937 random(7);
    const std::vector<std::string> parts{
        "",  "a",  "b",      "e", "\u00e9", "e\u0301", "\u0301", "\u0323", "\u212a",
        "K", "漢", "\u1e69", "s", "\u0307", "\uac00",  "\u1100", "\u1161", "\U0001f600"};
    const auto key = [&] {
        std::string text;
        for (auto i = random() % 5; i > 0; --i)
            text += parts[random() % parts.size()];
        return text;
    };
    for (int round = 0; round < 300; ++round) {
        std::vector<JSONObject::Member> members;
        JSONObject oneByOne;
        for (int i = 0; i < 40; ++i) {
            members.emplace_back(key(), i);
            oneByOne.set(members.back().first, members.back().second);
        }
        const JSONObject atOnce = JSONObject::fromMembers(members);
        EXPECT_EQ(atOnce, oneByOne);
        EXPECT_EQ(parsed(json::pretty(atOnce)), JSONValue(atOnce));
        for (const auto& member : members) {
            ASSERT_NE(atOnce.find(member.first), nullptr) << member.first;
            EXPECT_EQ(*atOnce.find(member.first), *oneByOne.find(member.first)) << member.first;
        }
    }
}

TEST(JSON, EqualityIgnoresOrderAndSpellingButNotKinds) {
    EXPECT_EQ(parsed(R"({"a":[1,{"b":null}],"c":"d"})"),
              parsed(R"({"c":"d","a":[1.0,{"b":null}]})"));
    EXPECT_EQ(parsed("\"e\u0301\""), parsed("\"\\u00e9\""));
    EXPECT_EQ(JSONValue(0.0), JSONValue(-0.0));
    const JSONValue nan = JSONArray{std::nan("")};
    EXPECT_FALSE(nan == nan);
    for (const char* other : {"{}", R"({"a":1,"b":2})", R"({"b":1})", R"({"a":2})", R"({"a":"1"})"})
        EXPECT_FALSE(parsed(R"({"a":1})") == parsed(other)) << other;
    EXPECT_FALSE(parsed("[1,2]") == parsed("[2,1]"));
    EXPECT_FALSE(parsed("[1]") == parsed("[1,1]"));
}

TEST(JSON, CompactEscapesWhatMustAndSlashes) {
    std::string all;
    for (int c = 0; c < 0x80; ++c)
        all += static_cast<char>(c);
    EXPECT_EQ(
        json::compact(all),
        R"("\u0000\u0001\u0002\u0003\u0004\u0005\u0006\u0007\b\t\n\u000b\f\r\u000e\u000f)"
        R"(\u0010\u0011\u0012\u0013\u0014\u0015\u0016\u0017\u0018\u0019\u001a\u001b\u001c\u001d)"
        R"(\u001e\u001f !\"#$%&'()*+,-.\/0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`)"
        "abcdefghijklmnopqrstuvwxyz{|}~\x7f\"");
    EXPECT_EQ(json::compact("漢\u2028😀"), "\"漢\u2028😀\"");
    // Every place of an escape in strings of every length around the writer's blocks.
    for (std::size_t length = 1; length < 300; length += length < 20 ? 1 : 37) {
        for (std::size_t at = 0; at < length; ++at) {
            std::string text(length, '\xc3');
            text[at] = at % 2 == 0 ? '\x01' : '"';
            const std::string escape = at % 2 == 0 ? "\\u0001" : "\\\"";
            std::string expected = "\"" + text + "\"";
            expected.replace(at + 1, 1, escape);
            EXPECT_EQ(json::compact(text), expected);
        }
    }
}

TEST(JSON, PrettyIsSortedByBytesAndLeavesSlashes) {
    // By decomposed text the accented key would come before "z".
    EXPECT_EQ(
        json::pretty(parsed("{\"z/\":[],\"\u00e9\":{\"b\":1,\"a\":[true,{}]},\"B\":\"a/b\"}")),
        "{\n  \"B\": \"a/b\",\n  \"z/\": [],\n  \"\u00e9\": {\n    \"a\": [\n      true,\n"
        "      {}\n    ],\n    \"b\": 1\n  }\n}");
}

TEST(JSON, NothingIsWrittenWhenANumberIsNotFinite) {
    for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity(),
                             -std::numeric_limits<double>::infinity()}) {
        const JSONValue value = JSONObject{{"a", JSONArray{1, bad}}};
        EXPECT_EQ(json::pretty(value), "");
        EXPECT_EQ(json::compact(value), std::nullopt);
        std::string out = "before";
        EXPECT_FALSE(json::appendCompact(out, value));
        EXPECT_EQ(out, "before");
    }
}

// Any of these would take minutes with a cost that grows with the square.
TEST(JSON, HostileObjectsAreReadInReasonableTime) {
    std::string distinct = "{";
    std::string equal = "{";
    for (int i = 0; i < 300'000; ++i) {
        distinct += "\"\u00e9" + std::to_string(i * 7919LL % 300'000) + "\":1,";
        equal += "\"e\u0301\":" + std::to_string(i) + ",";
    }
    distinct.back() = '}';
    equal.back() = '}';
    const JSONValue value = parsed(distinct);
    EXPECT_EQ(value.object()->size(), 300'000U);
    EXPECT_THAT(value["e\u0301299999"], testing::Pointee(JSONValue(1)));
    EXPECT_EQ(parsed(equal), parsed("{\"\u00e9\":299999}"));

    std::string marks = "{\"";
    for (int i = 0; i < 2'000'000; ++i)
        marks += i < 1'000'000 ? "\u0301" : "\u0323";
    const JSONValue huge = parsed(marks + "\":1}");
    for (int i = 0; i < 100'000; ++i)
        ASSERT_EQ(huge["hook_event_name"], nullptr);
}

// Python's reader and writer are another opinion on what JSON is and what it says.
class OtherOpinion : public testing::Test {
  protected:
    std::mt19937_64 m_random{42};

    std::size_t below(std::size_t bound) { return m_random() % bound; }

    std::string text() {
        static const std::vector<std::string> parts{"a",      "Z",          " ",
                                                    "/",      "\"",         "\\",
                                                    "\n",     "\t",         std::string(1, '\0'),
                                                    "\x1f",   "\x7f",       "\u00e9",
                                                    "漢",     "\u2028",     "😀",
                                                    "\uffff", "0123456789", "\u0301"};
        std::string result;
        for (auto i = below(12); i > 0; --i)
            result += parts[below(parts.size())];
        return result;
    }

    JSONValue value(int depth) {
        switch (below(depth < 4 ? 8 : 5)) {
        case 0:
            return text();
        case 1: {
            const double number = std::bit_cast<double>(m_random());
            return std::isfinite(number) ? number : 0.5;
        }
        case 2:
            return static_cast<double>(m_random() >> below(64));
        case 3:
            return below(2) == 0;
        case 4:
            return nullptr;
        case 5: {
            JSONArray elements;
            for (auto i = below(5); i > 0; --i)
                elements.push_back(value(depth + 1));
            return elements;
        }
        default: {
            std::vector<JSONObject::Member> members;
            for (auto i = below(5); i > 0; --i)
                members.emplace_back(std::to_string(i) + text(), value(depth + 1));
            return JSONObject::fromMembers(std::move(members));
        }
        }
    }

    std::string mutated(std::string text) {
        static constexpr std::string_view interesting = "{}[]\",:\\/ued0189-+.eE \n\t\0\x80\xe9tfn";
        for (auto i = 1 + below(3); i > 0 && !text.empty(); --i) {
            const std::size_t at = below(text.size());
            const char c = interesting[below(interesting.size())];
            switch (below(4)) {
            case 0:
                text[at] = c;
                break;
            case 1:
                text.insert(at, 1, c);
                break;
            case 2:
                text.erase(at, 1 + below(3));
                break;
            default:
                text.insert(at, text.substr(below(text.size()), below(8)));
            }
        }
        return text;
    }
};

TEST_F(OtherOpinion, AgreesOnWhatIsValidAndWhatItSays) {
    static constexpr std::string_view program = R"(
import json, sys
def refuse(text): raise ValueError(text)
def number(text):
    value = float(text)
    return value if abs(value) != float('inf') else refuse(text)
for line in open(sys.argv[1]):
    try:
        value = json.loads(bytes.fromhex(line).decode('utf-8'), parse_constant=refuse, parse_float=number)
        text = json.dumps(value, ensure_ascii=False, indent=1).encode('utf-8')
        print('+' + text.hex())
    except ValueError:
        print('-')
)";
    std::vector<std::string> documents;
    for (int i = 0; i < 6000; ++i) {
        const JSONValue original = value(0);
        const std::string text = i % 2 == 0 ? *json::compact(original) : json::pretty(original);
        EXPECT_THAT(JSONValue::parse(text), Optional(original)) << text;
        documents.push_back(i % 3 == 0 ? text : mutated(text));
    }

    const TemporaryDirectory directory;
    const auto unhex = [](std::string_view hex) {
        std::string bytes;
        for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
            bytes += static_cast<char>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16));
        return bytes;
    };
    std::ofstream input(directory / "documents");
    for (const std::string& document : documents) {
        for (const char c : document) {
            constexpr char digits[] = "0123456789abcdef";
            input << digits[static_cast<unsigned char>(c) >> 4] << digits[c & 15];
        }
        input << '\n';
    }
    input.close();
    const auto script = directory.put("opinion.py", program);
    const std::string command = "python3 " + script.string() + " " +
                                (directory / "documents").string() + " > " +
                                (directory / "opinions").string();
    ASSERT_EQ(std::system(command.c_str()), 0);

    std::ifstream opinions(directory / "opinions");
    std::size_t valid = 0;
    for (const std::string& document : documents) {
        std::string opinion;
        ASSERT_TRUE(std::getline(opinions, opinion));
        const auto ours = JSONValue::parse(document);
        ASSERT_EQ(ours.has_value(), opinion.starts_with('+')) << document;
        if (ours) {
            ++valid;
            EXPECT_THAT(JSONValue::parse(unhex(opinion.substr(1))), Optional(*ours)) << document;
        }
    }
    EXPECT_GT(valid, 2000U);
    EXPECT_LT(valid, 5500U);
}

} // namespace
