#include "gate/gate_event.h"

#include "daemon/platform/kernel_endpoint.h"
#include "gate/message_text.h"

namespace webauth {

KernelMessage event_message(const GateEvent& event) {
  KernelMessage message{};
  message.header.nlmsg_len = KERNEL_HEADER_LENGTH;
  message.header.nlmsg_pid = GATE_PORT;
  message.length = KERNEL_MESSAGE_SIZE;
  message.command = event.code;
  message.ip = event.ip;
  message.kind = event.kind;
  message.mac = event.mac;
  return message;
}

std::string event_text(const GateEvent& event) {
  if (event.code == ENTRY_OFFLINE) return "ENTRY_OFFLINE " + ip_text(event.ip);
  if (event.code == CHECK_EXPIRY) return "CHECK_EXPIRY " + ip_text(event.ip);
  return "ENTRY_ONLINE " + kind_text(event.kind) + ' ' + ip_text(event.ip) + ' ' +
         mac_text(event.mac);
}

}  // namespace webauth
