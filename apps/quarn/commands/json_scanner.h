// Validates JSON and splits it into its members, without building a tree: every value stays the bytes that
// were sent, and the time is linear in their number, however deep they are nested.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quarnex::tool {

/// Receives a member of an object, or an element of an array (with an empty `name`), as the bytes in the
/// text.
using JsonChild = std::function<void(std::string_view name, std::string_view value)>;

/// True if `text` is one JSON value (RFC 8259) in well-formed UTF-8. Passes the members or elements of its
/// outermost object or array to `child`, also those before an error.
bool scanJson(std::string_view text, const JsonChild& child);

/// The characters of a valid JSON string, given with its quotes, in UTF-8.
std::string utf8OfString(std::string_view string);

/// The same, one byte for each character; nothing if one has a code above 255.
std::optional<std::string> bytesOfString(std::string_view string);

}  // namespace quarnex::tool
