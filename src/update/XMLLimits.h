#pragma once

#include <string_view>

/// What an XML text may consist of before a reader sees it. Readers compare every attribute of a
/// tag with all others, and every element with all declarations around it: without limits, a third
/// of a megabyte keeps them busy for half a minute.
namespace xmllimits {

/// Looks at the tags alone and says nothing about well-formedness: up to the first fault, it sees
/// the tags that a reader sees. Takes milliseconds for a megabyte.
/// @throws DaemonError when the text has a document type, which can declare entities; more tags,
///         deeper ones or ones with more attributes than a feed has; or an encoding that is not an
///         extension of ASCII, in which tags could not be told
void require(std::string_view xml);

} // namespace xmllimits
