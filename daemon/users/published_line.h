// One line of the published list; users/registration_path.h has its form.
#pragma once

#include <string>

#include "daemon/users/online_user.h"

namespace webauth {

/// Appends the line of a web-authenticated user that is online, and nothing for any other record.
void append_published_line(std::string& text, const OnlineUser& user);

}  // namespace webauth
