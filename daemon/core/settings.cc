#include "daemon/core/settings.h"

#include <cstdlib>

#include "common/fatal.h"
#include "common/text_field.h"
#include "daemon/platform/settings_store.h"

namespace webauth {

const char* setting_text(const char* key) {
  const char* value = nvram_get(key);
  return value != nullptr ? value : "";
}

const ModeRow* configured_mode() { return find_mode(setting_text("WEBAUTH_SECTYPE")); }

AuthMode read_auth_mode() {
  const ModeRow* row = configured_mode();
  return row != nullptr ? row->mode : AuthMode::LOCAL;
}

std::int32_t read_multi_user() {
  return means_multi_user(setting_text("WEBAUTH_MULTIUSER")) ? 1 : 0;
}

void read_mail_server_settings() {
  if (!put_field(mail_server_host, setting_text("WEBAUTH_POP3SERVER"))) end_process();
  char port[MAIL_PORT_SIZE] = {};
  if (!put_field(port, setting_text("WEBAUTH_POP3SPORT"))) end_process();
  mail_server_port = std::atoi(port);
}

}  // namespace webauth
