#include "core/Localized.h"

#include <span>
#include <utility>
#include <vector>

#include "core/Decimal.h"

namespace {

std::function<std::string(std::string_view)>& translator() {
    static std::function<std::string(std::string_view)> installed;
    return installed;
}

// The placeholders replaced one after the other; what is put in is not looked at again.
std::string filled(std::string text, std::string_view placeholder,
                   std::span<const std::string> values) {
    std::size_t at = 0;
    for (const std::string& value : values) {
        at = text.find(placeholder, at);
        if (at == std::string::npos)
            break;
        text.replace(at, placeholder.size(), value);
        at += value.size();
    }
    return text;
}

} // namespace

std::string localized(std::string_view key) {
    return translator() ? translator()(key) : std::string(key);
}

std::string localized(std::string_view key, std::initializer_list<double> numbers) {
    std::vector<std::string> texts;
    for (const double number : numbers)
        decimal::append(texts.emplace_back(), number);
    return filled(localized(key), "%lld", texts);
}

std::string localized(std::string_view key, std::initializer_list<std::string> texts) {
    return filled(localized(key), "%@", texts);
}

void installTranslator(std::function<std::string(std::string_view key)> translate) {
    translator() = std::move(translate);
}
