#include "daemon/platform/netlink_message.h"

#include <cstdint>
#include <cstring>
#include <new>

namespace webauth {
namespace {

// Zeroed room at the end of the message, which grows by it.
unsigned char* reserve(nlmsghdr* header, std::size_t size) {
  unsigned char* room = static_cast<unsigned char*>(static_cast<void*>(header)) + header->nlmsg_len;
  const std::size_t padded = NLMSG_ALIGN(size);
  std::memset(room, 0, padded);
  header->nlmsg_len += static_cast<std::uint32_t>(padded);
  return room;
}

}  // namespace

nlmsghdr* nlmsg_put_header(void* buffer, int /*extra_size*/) {
  auto* header = new (buffer) nlmsghdr{};
  header->nlmsg_len = NLMSG_HDRLEN;
  return header;
}

void* nlmsg_put_extra_header(nlmsghdr* header, int size) {
  return reserve(header, static_cast<std::size_t>(size));
}

void nla_attr_put(nlmsghdr* header, int type, std::size_t length, const void* data) {
  unsigned char* room = reserve(header, NLA_HDRLEN + length);
  const nlattr attribute{.nla_len = static_cast<std::uint16_t>(NLA_HDRLEN + length),
                         .nla_type = static_cast<std::uint16_t>(type)};
  std::memcpy(room, &attribute, sizeof attribute);
  std::memcpy(room + NLA_HDRLEN, data, length);
}

}  // namespace webauth
