#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <simdjson.h>

#include "Events.h"
#include "ProcessorCost.h"
#include "Report.h"
#include "Sections.h"
#include "Statistics.h"
#include "core/JSONValue.h"

namespace bench {

namespace {

namespace ondemand = simdjson::ondemand;

constexpr int rounds = 25;
constexpr int timesPerRound = 4000;

// Every value is read to its end: On-Demand does nothing for what nobody asks for. The sum keeps
// the compiler from leaving any of it out.
template <typename TakeText>
std::size_t walk(ondemand::value value, TakeText& take) {
    std::size_t sum = 0;
    switch (value.type().value()) {
    case ondemand::json_type::object:
        for (auto field : value.get_object().value()) {
            sum += take(field.unescaped_key().value());
            sum += walk(field.value().value(), take);
        }
        return sum;
    case ondemand::json_type::array:
        for (auto element : value.get_array().value())
            sum += walk(element.value(), take);
        return sum;
    case ondemand::json_type::string:
        return take(value.get_string().value());
    case ondemand::json_type::number:
        return static_cast<std::size_t>(value.get_double().value());
    case ondemand::json_type::boolean:
        return value.get_bool().value() ? 1 : 0;
    case ondemand::json_type::null:
        return value.is_null().value() ? 1 : 0;
    }
    return sum;
}

} // namespace

void measureJSON() {
    const std::string event = events::toolUse("7c1f0b52-3d8e-4a67-9a0f-2b6f1f4f9e10");
    std::size_t sum = 0;
    ondemand::parser parser;
    std::vector<char> copy(event.size() + simdjson::SIMDJSON_PADDING);
    std::vector<double> least;
    std::vector<double> owning;
    std::vector<double> ours;
    std::vector<double> parsing;
    for (int i = 0; i < rounds; ++i) {
        const auto walkWith = [&](auto take) {
            std::memcpy(copy.data(), event.data(), event.size());
            auto document = parser.iterate(copy.data(), event.size(), copy.size());
            sum += walk(document.get_value().value(), take);
        };
        least.push_back(ownCost(
            timesPerRound, [&] { walkWith([](std::string_view text) { return text.size(); }); }));
        owning.push_back(ownCost(timesPerRound, [&] {
            std::vector<std::string> texts;
            walkWith([&](std::string_view text) { return texts.emplace_back(text).size(); });
        }));
        ours.push_back(ownCost(timesPerRound,
                               [&] { sum += json::compact(*JSONValue::parse(event))->size(); }));
        parsing.push_back(
            ownCost(timesPerRound, [&] { sum += JSONValue::parse(event)->object()->size(); }));
    }
    if (sum == 0)
        throw std::runtime_error("nothing was read");
    print({"event parsed and encoded, vs simdjson's walk and a copy", median(ours), median(least),
           "us", 2.0});
    print({"  of that, parsed", median(parsing), median(least), "us"});
    print({"  both, vs the walk with a copy of every text", median(ours), median(owning), "us"});
}

} // namespace bench
