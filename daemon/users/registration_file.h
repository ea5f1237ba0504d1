// The published list of the web-authenticated users that are online (users/registration_path.h has
// its form), rebuilt from the OnlineUserTable after the changes that its callers name.
#pragma once

#include "daemon/users/online_user.h"
#include "daemon/users/registration_path.h"

namespace webauth {

/// Writes the list of `table` into `temp_path` with one write, then renames REGISTRATION_TEMP_FILE
/// to REGISTRATION_FILE, whatever `temp_path` is. Failures are not reported: the rename is tried
/// all the same. Returns 0.
int write_registration_file(const char* temp_path, UserTable& table);

}  // namespace webauth
