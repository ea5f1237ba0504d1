#include "gate/nfnetlink.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "daemon/platform/kernel_endpoint.h"

namespace webauth {
namespace {

constexpr std::size_t ANSWER_BYTES = 32 << 10;  // the kernel fills no more at a time
constexpr int DATAGRAMS_PER_PASS = 64;          // of notices, so that others get their turn

struct Outcome {
  bool over = false;
  int error = 0;
};

void note(Outcome& outcome, int error) {
  if (outcome.error == 0) outcome.error = error;
}

void take_datagram(const char* bytes, int size, const Answer& answer, Outcome& outcome) {
  for (const auto* at = reinterpret_cast<const nlmsghdr*>(bytes); mnl_nlmsg_ok(at, size);
       at = mnl_nlmsg_next(at, &size)) {
    if ((at->nlmsg_flags & NLM_F_DUMP_INTR) != 0) note(outcome, EINTR);
    if (at->nlmsg_type == NLMSG_DONE) {
      outcome.over = true;
    } else if (at->nlmsg_type == NLMSG_ERROR) {
      outcome.over = true;
      if (mnl_nlmsg_get_payload_len(at) < sizeof(nlmsgerr)) continue;
      const auto* report = static_cast<const nlmsgerr*>(mnl_nlmsg_get_payload(at));
      note(outcome, -report->error);
    } else if (answer && mnl_nlmsg_get_payload_len(at) >= sizeof(nfgenmsg)) {
      answer(at);
    }
  }
}

}  // namespace

Nfnetlink open_nfnetlink(int bytes) {
  Nfnetlink link;
  link.socket.reset(mnl_socket_open2(NETLINK_NETFILTER, SOCK_CLOEXEC));
  if (!link.socket || mnl_socket_bind(link.socket.get(), 0, MNL_SOCKET_AUTOPID) < 0) {
    throw std::runtime_error(std::string("no access to netfilter: ") + std::strerror(errno));
  }
  enlarge_receive_buffer(link.fd(), bytes);
  return link;
}

nlmsghdr* put_message(Nfnetlink& link, void* buffer, int type, int flags, int family,
                      std::uint16_t resource) {
  nlmsghdr* header = mnl_nlmsg_put_header(buffer);
  header->nlmsg_type = static_cast<std::uint16_t>(type);
  header->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
  header->nlmsg_seq = ++link.sequence;
  auto* extra = static_cast<nfgenmsg*>(mnl_nlmsg_put_extra_header(header, sizeof(nfgenmsg)));
  extra->nfgen_family = static_cast<std::uint8_t>(family);
  extra->version = NFNETLINK_V0;
  extra->res_id = htons(resource);
  return header;
}

int talk(Nfnetlink& link, const void* messages, std::size_t size, const Answer& answer) {
  if (mnl_socket_sendto(link.socket.get(), messages, size) < 0) return errno;
  alignas(nlmsghdr) char bytes[ANSWER_BYTES];
  Outcome outcome;
  int failure = 0;  // of receiving
  // The errors of a batch come one behind the other, and what is left would answer the next call.
  while (!outcome.over || outcome.error != 0) {
    const ssize_t count = recv(link.fd(), bytes, sizeof bytes, MSG_DONTWAIT);
    if (count >= 0) {
      take_datagram(bytes, static_cast<int>(count), answer, outcome);
    } else if (errno == EAGAIN) {
      break;
    } else if (errno != EINTR) {
      failure = errno;
      if (errno != ENOBUFS) break;  // many errors at a time: the first of them is behind it
    }
  }
  note(outcome, failure);
  if (!outcome.over) note(outcome, EIO);
  return outcome.error;
}

int read_notices(Nfnetlink& link, const Answer& take, bool* over) {
  alignas(nlmsghdr) char bytes[ANSWER_BYTES];
  Outcome outcome;
  for (int i = 0; i < DATAGRAMS_PER_PASS && !outcome.over; ++i) {
    const ssize_t count = recv(link.fd(), bytes, sizeof bytes, MSG_DONTWAIT);
    if (count < 0 && errno == ENOBUFS) return ENOBUFS;
    if (count < 0) break;
    take_datagram(bytes, static_cast<int>(count), take, outcome);
  }
  if (over != nullptr) *over = outcome.over;
  return outcome.over ? outcome.error : 0;
}

}  // namespace webauth
