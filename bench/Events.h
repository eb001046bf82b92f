#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// What agents send.
namespace bench::events {

/// The sizes that the budgets speak of.
inline constexpr std::size_t usualSize = 1536;

/// The report of a tool that was used, padded by its output to `usualSize` bytes. It has what makes
/// real ones costly to read: paths, escapes, nesting, text that is not ASCII.
/// @param folder the last part of the agent's working directory
[[nodiscard]] std::string toolUse(std::string_view session, std::string_view folder = "orchard");

/// A question that is held while the user is away; about 500 bytes.
/// @param command as JSON has it between its quotes
[[nodiscard]] std::string question(std::string_view session,
                                   std::string_view command = "git push origin release/2.4");

/// The whole request, as tamsell-hook sends it.
[[nodiscard]] std::string post(std::uint16_t port, std::string_view event);

} // namespace bench::events
