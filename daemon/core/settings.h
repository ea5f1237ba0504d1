// The settings that the daemon reads once at start-up, and the values made of them.
//
// Only start-up writes these values; everything else reads them. Keys that are read later are named
// where they are used.
#pragma once

#include <cstdint>

#include "daemon/core/auth_mode.h"
#include "daemon/core/setting_values.h"

namespace webauth {

inline AuthMode auth_mode = AuthMode::LOCAL;
inline std::int32_t multi_user = 0;                 ///< 1: an account may be online several times
inline char mail_server_host[MAIL_HOST_SIZE] = {};  ///< set in EMAIL mode only
inline std::int32_t mail_server_port = 0;           ///< set in EMAIL mode only, host byte order

/// The value of a key in the settings store, or the empty text when the key is missing.
const char* setting_text(const char* key);

/// The row of WEBAUTH_SECTYPE as it stands now, or a null pointer for a missing or unknown text.
const ModeRow* configured_mode();

/// WEBAUTH_SECTYPE as a mode; a missing or unknown text is LOCAL.
AuthMode read_auth_mode();

/// WEBAUTH_MULTIUSER: 1 when its first three characters are "YES", else 0.
std::int32_t read_multi_user();

/// Fills mail_server_host and mail_server_port from WEBAUTH_POP3SERVER (at most 63 characters) and
/// WEBAUTH_POP3SPORT (at most 6). Ends the process when one of them is longer.
void read_mail_server_settings();

}  // namespace webauth
