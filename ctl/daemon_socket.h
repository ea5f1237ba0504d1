// The two UNIX sockets of the daemon, as a client uses them. Nothing here waits longer than the
// time it is given. Times are microseconds of the steady clock. What fails throws OperatorError;
// where the daemon is not there, with STATUS_DOWN.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "daemon/control/control_message.h"

namespace webauth {

/// Whether somebody has the control socket open. Nothing is sent, and the daemon does not notice.
bool daemon_runs();

struct Answer {
  bool in_time;  ///< false: it is busy, or stopped
  pid_t pid;     ///< of the daemon; 0 when it runs where its number means nothing
};

/// Connects to the login socket, sends nothing and waits until the daemon has closed.
Answer ask_for_answer(std::int64_t deadline);

/// How one exchange on the login channel went.
enum class ExchangeResult : int {
  ANSWERED = 0,   ///< the reply was filled whole
  CLOSED = 1,     ///< the daemon closed the connection without a reply
  TIMED_OUT = 2,  ///< not connected, or nothing came, before the deadline
};

/// Connects to the login socket, writes `request`, reads a reply of exactly `reply`'s size and
/// waits until the daemon has closed: it replies before it publishes. A part of a reply throws.
ExchangeResult exchange_record(std::span<const std::byte> request, std::span<std::byte> reply,
                               std::int64_t deadline);

/// A socket for send_control.
int open_control_socket();

void send_datagram(int fd, std::span<const std::byte> record);

/// Hands one record to the daemon, which never answers.
template <typename Record>
void send_control(int fd, const Record& record) {
  static_assert(is_control_record<Record>());
  send_datagram(fd, std::as_bytes(std::span(&record, 1)));
}

}  // namespace webauth
