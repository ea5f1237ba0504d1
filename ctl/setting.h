// A setting as the daemon would read it now.
#pragma once

#include <string_view>

#include "daemon/core/auth_mode.h"
#include "daemon/platform/settings_store.h"

namespace webauth {

/// The value of a key; empty when it is missing, or when the file cannot be read.
inline std::string_view setting(const char* key) {
  const char* value = nvram_get(key);
  return value != nullptr ? value : "";
}

/// The row of WEBAUTH_SECTYPE, and that of LOCAL for an unknown or missing text, which means it.
inline const ModeRow& configured_mode() {
  const ModeRow* row = find_mode(setting("WEBAUTH_SECTYPE"));
  return row != nullptr ? *row : mode_row(AuthMode::LOCAL);
}

}  // namespace webauth
