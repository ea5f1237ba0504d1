// The address group of visitors who logged in by e-mail, published for other router components.
//
// GROUP_FILE holds one line: "group<number> Email_Auth <address>,<address>... \n". The line that
// creates the group ends in two blanks, a changed one in one. The group's number is one more than
// GROUPIP_NUM_MAX, which is raised to it. The last address is never taken out, so the file does
// not become empty again. Nothing here ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace webauth {

inline constexpr char GROUP_FILE[] = "/tmp/emailgroupip.cfg";

enum EmailGroupOperation : int {
  EMAIL_GROUP_ADD = 1,
  EMAIL_GROUP_REMOVE = 2,  ///< as is every code but 1
};

/// Adds an address (network byte order) to the group, or takes it out. Returns 0 when that was done
/// or there was nothing to do, -1 when the file could not be opened or read, is larger than 16 MB,
/// or there is no memory for it. What stands at the path and is not a regular file of the process's
/// own user is replaced by a fresh one.
[[nodiscard]] int email_group_update(int operation, std::uint32_t address);

/// How many bytes more than the text's the buffer of an edited line must hold.
inline constexpr std::size_t GROUP_LINE_ROOM = 50;

/// The two edits, on the text of the file, in place. Each returns false, with the text as it was,
/// when there is nothing to change or the line has fewer than three blanks.
bool add_group_address(char* line, std::string_view address);
bool remove_group_address(char* line, std::string_view address);

}  // namespace webauth
