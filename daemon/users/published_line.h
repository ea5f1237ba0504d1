// The published list of online users: where it lies, and one line of it, for the daemon that writes
// it and for its readers. Stands alone; nothing here fails or ends the process.
//
// A text file of one line per web-authenticated user online: user, ip, mac, login time (signed
// decimal seconds since the epoch) and authentication mode (its number), each followed by one
// blank, then a line feed. Nothing is quoted: a name may be empty or hold blanks, so a reader
// splits the line from its right end. The file is replaced whole by a rename; it is absent from the
// daemon's start until the first write.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "daemon/core/auth_mode.h"

namespace webauth {

inline constexpr char REGISTRATION_FILE[] = "/tmp/web_user_reg_file";

/// Written first, then renamed to REGISTRATION_FILE.
inline constexpr char REGISTRATION_TEMP_FILE[] = "/tmp/web_user_reg_file.tmp";

/// Texts as published: they may hold any byte but a line feed.
struct PublishedLine {
  std::string_view user;  ///< empty for one-key logins
  std::string_view ip;
  std::string_view mac;
  std::int32_t login_time;  ///< seconds since the epoch, cut to 32 bits
  AuthMode mode;
};

/// Appends the line with its line feed.
void append_published_line(std::string& text, const PublishedLine& line);

/// Reads a line that is given without its line feed; the texts are views into it. Nothing when it
/// has not this form: numbers that are none, an unknown mode, an address that is none.
std::optional<PublishedLine> read_published_line(std::string_view line);

}  // namespace webauth
