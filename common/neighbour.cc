#include "common/neighbour.h"

#include <linux/neighbour.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

namespace webauth {
namespace {

struct Request {
  nlmsghdr header{};
  ndmsg neighbour{};
  rtattr attribute{};
  std::uint32_t ip = 0;
};

constexpr int CERTAIN = NUD_REACHABLE | NUD_DELAY | NUD_PROBE | NUD_PERMANENT;

bool is_answer_to(std::uint32_t ip, const char* bytes, std::size_t size) {
  nlmsghdr header{};
  if (size < sizeof header) return false;
  std::memcpy(&header, bytes, sizeof header);
  return header.nlmsg_seq == ip;
}

// The entry in an answer that is one.
std::optional<Neighbour> read_answer(const char* bytes, std::size_t size) {
  nlmsghdr header{};
  ndmsg neighbour{};
  if (size < NLMSG_LENGTH(sizeof neighbour)) return {};
  std::memcpy(&header, bytes, sizeof header);
  if (header.nlmsg_type != RTM_NEWNEIGH || header.nlmsg_len > size) return {};
  std::memcpy(&neighbour, bytes + NLMSG_HDRLEN, sizeof neighbour);
  std::size_t at = NLMSG_LENGTH(sizeof neighbour);
  while (at + sizeof(rtattr) <= header.nlmsg_len) {
    rtattr attribute{};
    std::memcpy(&attribute, bytes + at, sizeof attribute);
    if (attribute.rta_len < sizeof attribute || attribute.rta_len > header.nlmsg_len - at) break;
    MacAddress mac;
    if (attribute.rta_type == NDA_LLADDR && attribute.rta_len == RTA_LENGTH(sizeof mac)) {
      std::memcpy(mac.data(), bytes + at + RTA_LENGTH(0), mac.size());
      return Neighbour{mac, (neighbour.ndm_state & CERTAIN) != 0};
    }
    at += RTA_ALIGN(attribute.rta_len);
  }
  return {};
}

}  // namespace

int open_neighbour_socket() { return socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE); }

std::optional<Neighbour> find_neighbour(int socket, int interface_index, std::uint32_t ip) {
  Request request;
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = RTM_GETNEIGH;
  request.header.nlmsg_flags = NLM_F_REQUEST;
  request.neighbour.ndm_family = AF_INET;
  request.neighbour.ndm_ifindex = interface_index;
  request.attribute.rta_type = NDA_DST;
  request.attribute.rta_len = RTA_LENGTH(sizeof request.ip);
  request.ip = ip;
  request.header.nlmsg_seq = ip;
  if (send(socket, &request, sizeof request, 0) < 0) return {};
  char answer[4096];
  ssize_t size = 0;
  do {  // the answer is there by now, and seldom one that came too late before it
    size = recv(socket, answer, sizeof answer, MSG_DONTWAIT);
  } while (size > 0 && !is_answer_to(ip, answer, static_cast<std::size_t>(size)));
  return size > 0 ? read_answer(answer, static_cast<std::size_t>(size)) : std::nullopt;
}

}  // namespace webauth
