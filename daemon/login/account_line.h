// A line of the file of local accounts, as the router keeps it, and where the file lies. Stands
// alone; nothing here fails or ends the process.
//
// One account a line, at most 255 characters; a longer line is read in pieces, each an account.
// Every blank ends a field, so two in a row make an empty field: user (63 characters), password
// (15 characters, or a hash; nobody in the daemon looks at it), a field without use, validity (15
// characters, see parse_validity), note (63 characters, "*" for none). Missing fields are empty;
// what follows the fifth is ignored. There are no comments.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "daemon/users/validity.h"

namespace webauth {

inline constexpr char ACCOUNT_FILE[] = "/disk/conf/qvuser.cfg";

/// A piece of the file, with its closing NUL.
inline constexpr int ACCOUNT_LINE_SIZE = 256;

inline constexpr std::size_t ACCOUNT_NAME_LENGTH = 63;  ///< also of the note
inline constexpr std::size_t ACCOUNT_PASSWORD_LENGTH = 15;
inline constexpr std::size_t VALIDITY_LENGTH = 15;

enum AccountField : std::size_t {
  FIELD_USER = 0,
  FIELD_PASSWORD = 1,
  FIELD_VALIDITY = 3,
  FIELD_NOTE = 4,
};

/// The fields as they stand in the line, views into it and not cut to their lengths.
struct AccountLine {
  std::array<std::string_view, 5> fields;
  std::size_t count = 0;
};

/// Splits a line that is given with or without its newline.
AccountLine split_account_line(std::string_view line);

/// What the daemon keeps of a line.
std::string_view account_name(const AccountLine& line);
std::string_view account_note(const AccountLine& line);
AccountLimit account_limit(const AccountLine& line);

/// Whether the daemon leaves an account of the file out: an allowance is counted per account, which
/// several sessions at once would make meaningless.
constexpr bool is_left_out(const AccountLimit& limit, bool several_sessions) {
  return several_sessions && limit.type == LIMIT_DAILY_TIME;
}

}  // namespace webauth
