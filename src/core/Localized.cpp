#include "core/Localized.h"

#include <utility>

#include "core/Decimal.h"

namespace {

std::function<std::string(std::string_view)>& translator() {
    static std::function<std::string(std::string_view)> installed;
    return installed;
}

} // namespace

std::string localized(std::string_view key) {
    return translator() ? translator()(key) : std::string(key);
}

std::string localized(std::string_view key, std::initializer_list<double> numbers) {
    constexpr std::string_view placeholder = "%lld";
    std::string text = localized(key);
    std::size_t at = 0;
    for (const double number : numbers) {
        at = text.find(placeholder, at);
        if (at == std::string::npos)
            break;
        std::string digits;
        decimal::append(digits, number);
        text.replace(at, placeholder.size(), digits);
        at += digits.size();
    }
    return text;
}

void installTranslator(std::function<std::string(std::string_view key)> translate) {
    translator() = std::move(translate);
}
