#include "daemon/kernel/access_policy.h"

#include <cstring>

#include "common/file.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"

namespace webauth {
namespace {

// Returns how many were sent. A range may hold a million addresses, so the message is made once.
int push_range(IpRange range) {
  KernelMessage message;
  init_kernel_message(message, ADD_ENTRY);
  message.kind = ENTRY_IP;
  for (std::uint32_t ip = range.first;; ++ip) {
    push_ip_entry(message,
                  {static_cast<unsigned char>(ip >> 24), static_cast<unsigned char>(ip >> 16),
                   static_cast<unsigned char>(ip >> 8), static_cast<unsigned char>(ip)});
    if (ip == range.last) break;
  }
  return static_cast<int>(range.last - range.first) + 1;
}

}  // namespace

int push_daemon_start() {
  KernelMessage message;
  init_kernel_message(message, DAEMON_START);
  send_kernel_message_or_exit(message);
  return 0;
}

int push_timeouts() {
  KernelMessage message;
  init_kernel_message(message, SET_TIMEOUTS);
  // The text decides, not auth_mode: an unknown text logs in as LOCAL, with the generic keys.
  const ModeRow* mode = configured_mode();
  const TimeoutKeys& keys = mode != nullptr ? mode->timeouts : GENERIC_TIMEOUTS;
  message.ip = timeout_seconds(setting_text(keys.idle), DEFAULT_IDLE, keys.idle_for_0);
  message.kind = timeout_seconds(setting_text(keys.maximum), DEFAULT_MAXIMUM, keys.maximum_for_0);
  send_kernel_message_or_exit(message);
  return 0;
}

int push_ip_entry(KernelMessage& message, const unsigned char (&ip)[4]) {
  std::memcpy(&message.ip, ip, sizeof message.ip);
  send_kernel_message_or_exit(message);
  return 0;
}

int push_mac_entry(const MacAddress& mac, int remove) {
  KernelMessage message;
  init_kernel_message(message, remove == 1 ? REMOVE_MAC : ADD_ENTRY);
  message.kind = ENTRY_MAC;
  message.mac = mac;
  send_kernel_message_or_exit(message);
  return 0;
}

int load_mac_list(const char* path) {
  const File file = open_for_reading(path);
  if (!file) return 0;
  int sent = 0;
  char line[LIST_LINE_SIZE];
  while (read_line(file.get(), line)) {
    const auto mac = read_mac(line);
    if (!mac) continue;
    push_mac_entry(*mac, 0);
    ++sent;
  }
  return sent;
}

int load_ip_list(const char* path) {
  const File file = open_for_reading(path);
  if (!file) return 0;
  int sent = 0;
  char line[LIST_LINE_SIZE];
  while (read_line(file.get(), line)) {
    if (const auto range = read_ip_range(line)) sent += push_range(*range);
  }
  return sent;
}

}  // namespace webauth
