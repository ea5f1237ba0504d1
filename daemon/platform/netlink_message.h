// The router library's calls for netlink messages of variable length: a 16-byte netlink header,
// an extra header of the protocol's own, and attributes (u16 length of 4 + payload, u16 type,
// payload, zeros up to a multiple of 4), all in host byte order.
//
// None of them is told how large the buffer is: the caller sees to it that everything fits.
#pragma once

#include <linux/netlink.h>

#include <cstddef>

namespace webauth {

/// Writes a header with `nlmsg_len` 16 and zeros at the beginning of a buffer and returns it. The
/// size of the extra header that will follow does not enter into it.
nlmsghdr* nlmsg_put_header(void* buffer, int extra_size);

/// Reserves a zeroed extra header, its size rounded up to a multiple of 4, and returns it.
void* nlmsg_put_extra_header(nlmsghdr* header, int size);

/// Appends one attribute.
void nla_attr_put(nlmsghdr* header, int type, std::size_t length, const void* data);

}  // namespace webauth
