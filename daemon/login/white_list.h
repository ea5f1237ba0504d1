// The names that may try to log in by e-mail, while the white list is in force.
#pragma once

#include <string_view>

namespace webauth {

inline constexpr char WHITE_LIST_FILE[] = "/var/http/webemailwhitelist.txt";

/// A piece of the file, with its closing NUL.
inline constexpr int WHITE_LIST_LINE_SIZE = 50;

/// The entry of one line: everything before the first blank, CR or LF.
std::string_view white_list_entry(std::string_view line);

/// Whether an entry of the file is exactly `user`. A line of more than 49 characters counts as one
/// entry per piece of 49. False when the file cannot be opened.
bool is_white_listed(const char* path, std::string_view user);

}  // namespace webauth
