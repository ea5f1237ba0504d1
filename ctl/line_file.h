// Text files of lines that others write too: accounts, MAC addresses, IP addresses. They are
// changed line by line under a lock and replaced in one step; every other line stays as it is and
// where it is.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <string_view>

namespace webauth {

/// Changes the text of a file. `change` returns whether anything is to be written; it may throw.
/// The file is locked meanwhile with a record lock of fcntl(2), for which at most five seconds are
/// waited. A missing one is made with `new_mode` first; when that is 0, nothing is done and false
/// returned. Throws OperatorError when it cannot be locked, read or replaced: it is then as it was.
bool edit_file(const char* path, mode_t new_mode, const std::function<bool(std::string&)>& change);

/// Removes the lines of which `is_wanted` holds, given without their line feed. Returns how many.
std::size_t remove_lines(std::string& text, const std::function<bool(std::string_view)>& is_wanted);

/// Appends a line, and before it the line feed that the last one may lack.
void append_line(std::string& text, std::string_view line);

/// The number of the first line of which `is_wanted` holds, from 1; 0 when there is none.
std::size_t find_line(std::string_view text,
                      const std::function<bool(std::string_view)>& is_wanted);

}  // namespace webauth
