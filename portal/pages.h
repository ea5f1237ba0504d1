// What stands in the page: HTML made of escaped texts. Pure; nothing here fails.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "daemon/core/auth_mode.h"
#include "portal/branding.h"

namespace webauth {

struct PageContext {
  const Branding& branding;
  const Language& language;
  AuthMode mode;
  std::string_view token;
  std::optional<Text> message;  ///< told as an alert above all else
  bool is_tls = false;
  std::string_view user;  ///< to begin the login with, or who is logged in
};

/// The form that asks for what the mode asks for.
std::string login_page(const PageContext& context);

/// For a visitor who is online; `seconds_left` only when a maximum applies.
std::string session_page(const PageContext& context, std::optional<std::int64_t> seconds_left);

/// For one who is logged in and whose traffic ends here all the same; the token is of use AGAIN.
std::string stuck_page(const PageContext& context);

/// Comes back to the page by itself.
std::string waiting_page(const PageContext& context);

/// "1 h 58 min".
std::string duration_text(const Language& language, std::int64_t seconds);

}  // namespace webauth
