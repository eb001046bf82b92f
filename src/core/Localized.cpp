#include "core/Localized.h"

#include <utility>

namespace {

std::function<std::string(std::string_view)>& translator() {
    static std::function<std::string(std::string_view)> installed;
    return installed;
}

} // namespace

std::string localized(std::string_view key) {
    return translator() ? translator()(key) : std::string(key);
}

void installTranslator(std::function<std::string(std::string_view key)> translate) {
    translator() = std::move(translate);
}
