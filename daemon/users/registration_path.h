// Where the published list of online users lies, for the daemon that writes it and for its readers.
//
// A text file of one line per web-authenticated user online: user, ip, mac, login time (signed
// decimal seconds since the epoch) and authentication mode (0 LOCAL, 1 ADVERT, 2 WEIXIN, 3 USERS,
// 4 EMAIL), each followed by one blank, then a line feed. Nothing is quoted: a name may be empty or
// hold blanks, so a reader splits the line from its right end. The file is replaced whole by a
// rename; it is absent from the daemon's start until the first write.
#pragma once

namespace webauth {

inline constexpr char REGISTRATION_FILE[] = "/tmp/web_user_reg_file";

/// Written first, then renamed to REGISTRATION_FILE.
inline constexpr char REGISTRATION_TEMP_FILE[] = "/tmp/web_user_reg_file.tmp";

}  // namespace webauth
