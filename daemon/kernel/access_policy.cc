#include "daemon/kernel/access_policy.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/file.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/transport.h"

namespace webauth {
namespace {

constexpr int LIST_LINE_SIZE = 100;

bool are_bytes(const unsigned* first, const unsigned* last) {
  return std::all_of(first, last, [](unsigned v) { return v <= 255; });
}

// An address as a number that counts upwards.
std::uint32_t number_of(const unsigned (&n)[8], int first) {
  return n[first] << 24 | n[first + 1] << 16 | n[first + 2] << 8 | n[first + 3];
}

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

std::optional<IpRange> read_ip_range(const char* line) {
  unsigned n[8];
  const int count = std::sscanf(line, "%u.%u.%u.%u-%u.%u.%u.%u", &n[0], &n[1], &n[2], &n[3], &n[4],
                                &n[5], &n[6], &n[7]);
  if (count < 4 || !are_bytes(n, n + 4)) return std::nullopt;
  const std::uint32_t first = number_of(n, 0);
  // Whatever keeps the line from being a range, its first address stands for itself.
  if (count < 8 || !are_bytes(n + 4, n + 8)) return IpRange{first, first};
  const std::uint32_t last = number_of(n, 4);
  if (last < first || last - first >= LONGEST_RANGE) return std::nullopt;
  return IpRange{first, last};
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
