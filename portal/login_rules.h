// What may be in a name and a password before anything is sent. The daemon hands both to the mail
// server as they are typed and checks no password of a local account: what is refused here is what
// a stranger could use to get in without an account, or to forge a line of the list or the log.
// Pure; nothing here fails.
#pragma once

#include <cstddef>
#include <string_view>

namespace webauth {

enum class LoginRules { ACCOUNT, POP3, IMAP };

inline constexpr std::size_t LONGEST_NAME = 63;
inline constexpr std::size_t LONGEST_ACCOUNT_PASSWORD = 15;
inline constexpr std::size_t LONGEST_MAIL_PASSWORD = 16;  ///< fills its field, without a NUL

/// At most LONGEST_NAME bytes. For IMAP, where the text stands in a command line without quotes:
/// printable ASCII without blank and ( ) { % * " \. Else UTF-8 without blank, control character
/// (C0, DEL, C1) and character that turns the direction of writing.
bool may_be_name(LoginRules rules, std::string_view name);

/// Local account: anything that its file can hold, so no blank and no line feed. POP3: no control
/// character. IMAP: as the name.
bool may_be_password(LoginRules rules, std::string_view password);

}  // namespace webauth
