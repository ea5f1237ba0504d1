// The published list of the web-authenticated users that are online (users/published_line.h has
// its form), rebuilt from the OnlineUserTable after the changes that its callers name.
#pragma once

#include "daemon/users/published_line.h"
#include "daemon/users/user_table.h"

namespace webauth {

/// Writes the list of `table` into `temp_path` with one write, then renames REGISTRATION_TEMP_FILE
/// to REGISTRATION_FILE, whatever `temp_path` is. Failures are not reported: the rename is tried
/// all the same. An empty directory in the list's place is removed. Returns 0.
int write_registration_file(const char* temp_path, OnlineUserTable& table);

}  // namespace webauth
