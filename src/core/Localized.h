#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

/// Texts that are born below the interface and shown to the user. The text itself is the key.
///
/// @param key the text in Traditional Chinese
/// @return its translation; the key itself while no translator is installed
[[nodiscard]] std::string localized(std::string_view key);

/// The same with its "%lld" placeholders replaced by the numbers, in order.
[[nodiscard]] std::string localized(std::string_view key, std::initializer_list<double> numbers);

/// The same with its "%@" placeholders replaced by the texts, in order.
[[nodiscard]] std::string localized(std::string_view key, std::initializer_list<std::string> texts);

/// Installed once by a program that has translations, before anything is localized.
void installTranslator(std::function<std::string(std::string_view key)> translate);
