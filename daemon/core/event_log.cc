#include "daemon/core/event_log.h"

#include <syslog.h>

namespace webauth {

void log_event(const char* title, const char* text) {
  openlog("user", LOG_NDELAY, LOG_LOCAL0);
  syslog(LOG_NOTICE, "R1 0 K5 %s %s", title, text);
  closelog();
}

}  // namespace webauth
