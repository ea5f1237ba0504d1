#include "gate/activity.h"

#include <linux/netfilter/nfnetlink_log.h>
#include <linux/sock_diag.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

#include "gate/ruleset.h"

namespace webauth {
namespace {

constexpr int RECEIVE_BUFFER_BYTES = 4 << 20;   // some thousand notices
constexpr std::uint32_t COPIED_BYTES = 0xffff;  // the rules say how much of it
constexpr std::size_t IP4_HEADER = 20;
constexpr std::size_t IP6_HEADER = 40;

nlmsghdr* put_config(Nfnetlink& link, void* buffer) {
  return put_message(link, buffer, NFNL_SUBSYS_ULOG << 8 | NFULNL_MSG_CONFIG, NLM_F_ACK, AF_UNSPEC,
                     LOG_GROUP);
}

// The sender's addresses, from the IP header.
bool read_source(std::string_view payload, FirstPacket& packet) {
  if (payload.empty()) return false;
  const int version = static_cast<unsigned char>(payload[0]) >> 4;
  if (version == 4 && payload.size() >= IP4_HEADER) {
    std::memcpy(&packet.ip, payload.data() + 12, sizeof packet.ip);
    return true;
  }
  if (version == 6 && payload.size() >= IP6_HEADER) {
    std::memcpy(packet.ip6.data(), payload.data() + 8, packet.ip6.size());
    return true;
  }
  return false;
}

MacAddress read_hardware_address(const nlattr* attribute) {
  MacAddress mac{};
  const auto address = attribute_value<nfulnl_msg_packet_hw>(attribute);
  if (ntohs(address.hw_addrlen) == mac.size()) {
    std::copy_n(address.hw_addr, mac.size(), mac.begin());
  }
  return mac;
}

std::string_view text_of(const nlattr* attribute) {
  return {static_cast<const char*>(mnl_attr_get_payload(attribute)),
          mnl_attr_get_payload_len(attribute)};
}

Notice read_notice(const nlmsghdr* message) {
  Notice notice;
  for_each_attribute(message, [&](const nlattr* attribute) {
    switch (mnl_attr_get_type(attribute)) {
      case NFULA_PREFIX:
        notice.prefix = text_of(attribute);
        notice.prefix = notice.prefix.substr(0, notice.prefix.find('\0'));
        break;
      case NFULA_HWADDR:
        notice.packet.mac = read_hardware_address(attribute);
        break;
      case NFULA_PAYLOAD:
        notice.payload = text_of(attribute);
        break;
      default:
        break;
    }
  });
  return notice;
}

}  // namespace

Nfnetlink open_activity() {
  Nfnetlink link = open_nfnetlink(RECEIVE_BUFFER_BYTES);
  alignas(nlmsghdr) char buffer[256];
  nlmsghdr* request = put_config(link, buffer);
  const nfulnl_msg_config_cmd bind{.command = NFULNL_CFG_CMD_BIND};
  mnl_attr_put(request, NFULA_CFG_CMD, sizeof bind, &bind);
  int error = talk(link, request, request->nlmsg_len);
  if (error == 0) {
    request = put_config(link, buffer);
    nfulnl_msg_config_mode mode{};
    mode.copy_range = htonl(COPIED_BYTES);
    mode.copy_mode = NFULNL_COPY_PACKET;
    mnl_attr_put(request, NFULA_CFG_MODE, sizeof mode, &mode);
    mnl_attr_put_u32(request, NFULA_CFG_QTHRESH, htonl(1));
    error = talk(link, request, request->nlmsg_len);
  }
  if (error != 0) {
    throw std::runtime_error("cannot listen to NFLOG group " + std::to_string(LOG_GROUP) + ": " +
                             std::strerror(error));
  }
  return link;
}

void read_activity(Nfnetlink& link, const std::function<void(const Notice&)>& take) {
  (void)read_notices(link, [&](const nlmsghdr* message) {
    if (message->nlmsg_type != (NFNL_SUBSYS_ULOG << 8 | NFULNL_MSG_PACKET)) return;
    Notice notice = read_notice(message);
    if (read_source(notice.payload, notice.packet)) take(notice);
  });
}

std::uint32_t count_lost(const Nfnetlink& link) {
  std::array<std::uint32_t, SK_MEMINFO_VARS> memory{};
  socklen_t size = sizeof memory;
  (void)getsockopt(link.fd(), SOL_SOCKET, SO_MEMINFO, memory.data(), &size);
  return memory[SK_MEMINFO_DROPS];
}

}  // namespace webauth
