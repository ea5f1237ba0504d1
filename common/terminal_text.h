// Text of foreign origin made safe for a terminal and for one line.
#pragma once

#include <string>
#include <string_view>

namespace webauth {

/// Printable characters in well-formed UTF-8 stay as they are; control and format characters (those
/// that turn the writing direction among them), line separators, unassigned code points and
/// malformed bytes become \xNN, byte by byte, and a backslash is doubled, so that nothing printed
/// can be mistaken for an escape.
std::string terminal_text(std::string_view text);

/// The same between single quotes.
inline std::string quoted_text(std::string_view text) { return "'" + terminal_text(text) + "'"; }

}  // namespace webauth
