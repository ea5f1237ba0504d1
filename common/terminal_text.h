// Text of foreign origin made safe for a terminal and for one line.
#pragma once

#include <string>
#include <string_view>

namespace webauth {

/// Printable ASCII and well-formed UTF-8 stay as they are; control characters, malformed bytes and
/// characters that turn the writing direction become \xNN, byte by byte, and a backslash is
/// doubled, so that nothing printed can be mistaken for an escape.
std::string terminal_text(std::string_view text);

}  // namespace webauth
