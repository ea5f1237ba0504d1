// One socket to the kernel's netfilter subsystems, for requests that it answers before the call
// returns. Error numbers are the kernel's, positive. Nothing here waits.
#pragma once

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/netfilter/nfnetlink.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>

namespace webauth {

struct MnlClose {
  void operator()(mnl_socket* socket) const { mnl_socket_close(socket); }
};

struct Nfnetlink {
  std::unique_ptr<mnl_socket, MnlClose> socket;
  std::uint32_t sequence = 0;

  [[nodiscard]] int fd() const { return mnl_socket_get_fd(socket.get()); }
  [[nodiscard]] std::uint32_t port() const { return mnl_socket_get_portid(socket.get()); }
};

/// The netlink type of a message of nftables.
constexpr int nft_type(int message) { return NFNL_SUBSYS_NFTABLES << 8 | message; }

/// A socket of NETLINK_NETFILTER, with a receive buffer of `bytes`. Throws std::runtime_error.
Nfnetlink open_nfnetlink(int bytes = 1 << 20);

/// Begins a message at `buffer`: netlink header and nfgenmsg. `type` is subsystem << 8 | message.
/// NLM_F_REQUEST is among the flags anyhow.
nlmsghdr* put_message(Nfnetlink& link, void* buffer, int type, int flags, int family,
                      std::uint16_t resource = 0);

using Answer = std::function<void(const nlmsghdr*)>;

/// Sends `size` bytes of messages, of which the last asks for an acknowledgement or is a dump, and
/// passes what comes to `answer`. Returns 0 or the first error; EIO when an answer is missing,
/// EINTR when a dump was overtaken by a change.
int talk(Nfnetlink& link, const void* messages, std::size_t size, const Answer& answer = nullptr);

/// Calls `take` with each message that has come by itself, or as part of a dump: then `over` is set
/// at its end. Returns 0, ENOBUFS when some were lost, or the error with which a dump ended.
int read_notices(Nfnetlink& link, const Answer& take, bool* over = nullptr);

/// Calls `take` with each attribute of a message, or of a nest. None reaches beyond its
/// surroundings.
template <typename Take>
void for_each_attribute(const void* begin, const void* end, Take take) {
  const auto* attribute = static_cast<const nlattr*>(begin);
  const auto left = [&] {
    return static_cast<int>(static_cast<const char*>(end) -
                            static_cast<const char*>(static_cast<const void*>(attribute)));
  };
  for (; mnl_attr_ok(attribute, left()); attribute = mnl_attr_next(attribute)) take(attribute);
}
template <typename Take>
void for_each_attribute(const nlmsghdr* message, Take take) {
  for_each_attribute(mnl_nlmsg_get_payload_offset(message, sizeof(nfgenmsg)),
                     mnl_nlmsg_get_payload_tail(message), take);
}
template <typename Take>
void for_each_attribute(const nlattr* nest, Take take) {
  const auto* begin = static_cast<const char*>(mnl_attr_get_payload(nest));
  for_each_attribute(begin, begin + mnl_attr_get_payload_len(nest), take);
}

/// The payload of an attribute as a number or a record, zeros where it is too short.
template <typename Value>
Value attribute_value(const nlattr* attribute) {
  Value value{};
  if (mnl_attr_get_payload_len(attribute) < sizeof value) return value;
  std::memcpy(&value, mnl_attr_get_payload(attribute), sizeof value);
  return value;
}

}  // namespace webauth
