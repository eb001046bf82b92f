#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>

#include "core/DaemonError.h"
#include "core/Localized.h"
#include "core/Text.h"

namespace ctl {

/// How a person names one of several things by its id.
namespace naming {

inline constexpr std::size_t shortestPrefix = 4;
inline constexpr std::size_t shortIdLength = 8;

/// What of an id is shown in lists.
[[nodiscard]] inline std::string_view shortId(std::string_view id) {
    return id.substr(0, shortIdLength);
}

/// The element whose id this is, or the only one whose id begins so, with at least four characters.
///
/// @param idOf the member that is the id
/// @param none what is said when there is none, with "%@" for the id
/// @param several what is said when there are more, with "%@" for the id and for how many
/// @throws DaemonError
template <typename Range, typename Projection>
[[nodiscard]] const auto& find(const Range& range, Projection idOf, std::string_view id,
                               std::string_view none, std::string_view several) {
    const auto whole = std::ranges::find(range, id, idOf);
    if (whole != range.end())
        return *whole;
    if (id.size() < shortestPrefix)
        throw DaemonError(localized("代號至少要 4 個字元"));
    const auto isMeant = [&](const auto& element) {
        return std::string_view(std::invoke(idOf, element)).starts_with(id);
    };
    const auto count = std::ranges::count_if(range, isMeant);
    if (count == 0)
        throw DaemonError(localized(none, {text::visible(id)}));
    if (count > 1)
        throw DaemonError(localized(several, {text::visible(id), std::to_string(count)}));
    return *std::ranges::find_if(range, isMeant);
}

} // namespace naming

} // namespace ctl
