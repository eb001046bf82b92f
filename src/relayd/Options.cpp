#include "relayd/Options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <stdexcept>
#include <string_view>

#include "core/File.h"
#include "core/JSONValue.h"

namespace {

constexpr std::size_t longestFile = std::size_t{64} * 1024;
constexpr std::array<const char*, 5> names{"listen", "database", "page", "trust-proxy",
                                           "max-connections"};

/// Options by name, as texts; "trust-proxy" with commas between.
using Texts = std::map<std::string, std::string, std::less<>>;

[[noreturn]] void fail(const std::string& option, const std::string& what) {
    throw std::runtime_error(option + ": " + what);
}

bool isName(std::string_view text) {
    return std::ranges::find(names, text) != names.end();
}

std::string joined(const JSONArray& list, const std::string& name) {
    std::string text;
    for (const JSONValue& each : list) {
        if (!each.string())
            fail(name, "not a list of texts");
        text += (text.empty() ? "" : ",") + *each.string();
    }
    return text;
}

Texts fromFile(const std::string& path) {
    std::string text;
    try {
        text = file::read(path, longestFile);
    } catch (const std::system_error& failure) {
        fail("config", failure.what());
    }
    const auto value = JSONValue::parse(text);
    if (!value || !value->object())
        fail("config", path + " is no JSON object");
    Texts texts;
    for (const auto& [name, member] : *value->object()) {
        if (!isName(name))
            fail("config", "\"" + name + "\" is no option");
        if (member.string())
            texts[name] = *member.string();
        else if (member.array())
            texts[name] = joined(*member.array(), name);
        else if (member.number())
            texts[name] = json::compact(member).value();
        else
            fail(name, "neither a text nor a number nor a list");
    }
    return texts;
}

std::string variableOf(std::string_view name) {
    std::string variable = "TAMSELL_RELAY_";
    for (const char c : name)
        variable += c == '-' ? '_' : static_cast<char>(c - 'a' + 'A');
    return variable;
}

Texts fromCommandLine(std::span<char* const> arguments) {
    Texts texts;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        const std::size_t equals = argument.find('=');
        const std::string name(
            argument.substr(0, equals).substr(argument.starts_with("--") ? 2 : 0));
        if (!argument.starts_with("--") || (!isName(name) && name != "config"))
            throw std::runtime_error("unknown option " + std::string(argument));
        std::string value;
        if (equals != std::string_view::npos)
            value = argument.substr(equals + 1);
        else if (i + 1 < arguments.size())
            value = arguments[++i];
        else
            fail(name, "without a value");
        std::string& text = texts[name];
        text += (name == "trust-proxy" && !text.empty() ? "," : "") + value;
        if (name != "trust-proxy")
            text = value;
    }
    return texts;
}

template <typename Number>
Number numberOf(const std::string& option, std::string_view text, Number most) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number > most)
        fail(option, "\"" + std::string(text) + "\" is no such number");
    return number;
}

void setListen(RelayOptions& options, const std::string& text) {
    const std::size_t colon = text.rfind(':');
    std::string host = text.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    if (colon == std::string::npos || !IPAddress::parse(host))
        fail("listen", "\"" + text + "\" is not ADDRESS:PORT");
    options.host = host;
    options.port = numberOf<std::uint16_t>("listen", text.substr(colon + 1), 65535);
}

void setProxies(RelayOptions& options, std::string_view text) {
    while (!text.empty()) {
        const std::string_view one = text.substr(0, text.find(','));
        const auto block = AddressBlock::parse(one);
        if (!block)
            fail("trust-proxy", "\"" + std::string(one) + "\" is neither an address nor a block");
        options.proxies.push_back(*block);
        text.remove_prefix(std::min(one.size() + 1, text.size()));
    }
}

} // namespace

RelayOptions RelayOptions::from(std::span<char* const> arguments, const Environment& environment) {
    Texts texts;
    const Texts typed = fromCommandLine(arguments);
    const auto named = typed.find("config");
    const auto config =
        named == typed.end() ? environment("TAMSELL_RELAY_CONFIG") : std::optional(named->second);
    if (config)
        texts = fromFile(*config);
    for (const char* const name : names)
        if (const auto value = environment(variableOf(name).c_str()))
            texts[name] = *value;
    for (const auto& [name, value] : typed)
        texts[name] = value;

    RelayOptions options;
    for (const auto& [name, text] : texts) {
        if (name == "listen")
            setListen(options, text);
        else if (name == "database")
            options.database = text;
        else if (name == "page")
            options.page = text;
        else if (name == "trust-proxy")
            setProxies(options, text);
        else if (name == "max-connections")
            options.maximumConnections = numberOf<std::size_t>(name, text, 1'000'000);
    }
    return options;
}

const char* RelayOptions::usage() {
    return "usage: tamsell-relay [OPTION]...\n"
           "Carries sealed messages between computers and their phones.\n"
           "  --listen ADDRESS:PORT     where to listen (127.0.0.1:8788)\n"
           "  --database FILE           what is kept of computers and phones (tamsell-relay.db)\n"
           "  --page FOLDER             the phone page, served at / (usually the one\n"
           "                            that came with the program)\n"
           "  --trust-proxy ADDRESS     a proxy, or a block as 10.0.0.0/8, whose X-Forwarded-For "
           "is\n"
           "                            believed; may be given more than once\n"
           "  --max-connections NUMBER  at once (20000)\n"
           "  --config FILE             a JSON object with the names above, without dashes\n"
           "  --version, --help\n"
           "Each has a variable as well: TAMSELL_RELAY_LISTEN, TAMSELL_RELAY_TRUST_PROXY, ...\n"
           "The command line comes before the environment, and that before the file.\n";
}
