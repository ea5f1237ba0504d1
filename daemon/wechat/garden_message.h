// Walled-garden messages to the kernel module: which host names and addresses a visitor may reach
// before login. They share the netlink socket with KernelMessage but have a layout of their own.
//
// A message is a netlink header (its `nlmsg_len` counts the whole message, its `nlmsg_pid` is the
// daemon's process id), a GardenHeader, and attributes: the name, and in an address message the
// address. The name is in the label form of DNS (RFC 1035, 3.1) without its final zero byte. Words
// are in host byte order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace webauth {

enum GardenMessageCode : std::uint32_t {
  GARDEN_HOST_NAME = 11,     ///< attributes: GARDEN_ATTR_NAME
  GARDEN_HOST_ADDRESS = 13,  ///< attributes: GARDEN_ATTR_NAME, GARDEN_ATTR_IPV4
};

enum GardenAttribute : std::uint16_t {
  GARDEN_ATTR_IPV4 = 1,  ///< 4 bytes in network byte order
  GARDEN_ATTR_NAME = 8,  ///< labels, each behind a byte with its length
};

enum GardenEntryClass : std::uint32_t {
  GARDEN_CLASS_NAME = 1,
  GARDEN_CLASS_ADDRESS = 4,
};

inline constexpr unsigned char GARDEN_MARKER = 6;

struct GardenHeader {
  std::uint32_t entry_class;   ///< GardenEntryClass
  std::uint32_t message_code;  ///< GardenMessageCode
  std::uint32_t unused1;
  unsigned char marker;  ///< GARDEN_MARKER
  unsigned char unused2[15];
};

static_assert(sizeof(GardenHeader) == 28);
static_assert(offsetof(GardenHeader, entry_class) == 0);
static_assert(offsetof(GardenHeader, message_code) == 4);
static_assert(offsetof(GardenHeader, unused1) == 8);
static_assert(offsetof(GardenHeader, marker) == 12);
static_assert(offsetof(GardenHeader, unused2) == 13);
static_assert(std::is_trivially_copyable_v<GardenHeader>);
static_assert(std::has_unique_object_representations_v<GardenHeader>);

}  // namespace webauth
