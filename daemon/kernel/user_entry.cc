#include "daemon/kernel/user_entry.h"

#include <arpa/inet.h>

#include "daemon/kernel/transport.h"

namespace webauth {

KernelMessage user_entry_message(std::uint32_t command, const char* ip) {
  KernelMessage message;
  init_kernel_message(message, command);
  message.kind = ENTRY_USER;
  message.ip = inet_addr(ip);
  return message;
}

void remove_user_entry_or_exit(const char* ip) {
  const KernelMessage message = user_entry_message(REMOVE_ENTRY, ip);
  if (message.ip != INADDR_NONE) send_kernel_message_or_exit(message);
}

}  // namespace webauth
