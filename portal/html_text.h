// Texts of strangers made safe for a page.
#pragma once

#include <string>
#include <string_view>

namespace webauth {

/// The length of the UTF-8 character that the text begins with and, in `code`, its code point; 0
/// when it begins with none (malformed, overlong, a surrogate, beyond U+10FFFF).
std::size_t read_character(std::string_view text, char32_t& code);

/// Appends `text` for use between tags and inside quoted attributes: the characters of HTML are
/// escaped, what is no UTF-8 and controls other than tab and newline become U+FFFD.
void append_html(std::string& page, std::string_view text);

}  // namespace webauth
