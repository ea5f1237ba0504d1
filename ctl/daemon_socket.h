// The two UNIX sockets of the daemon, as a client uses them. Nothing here waits longer than the
// time it is given. Times are microseconds of the steady clock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace webauth {

/// How one exchange on the login channel went.
enum class ExchangeResult : int {
  ANSWERED = 0,   ///< the reply was filled whole
  CLOSED = 1,     ///< the daemon closed the connection without a reply
  TIMED_OUT = 2,  ///< not connected, or nothing came, before the deadline
};

/// Connects to `path`, writes `request` and reads a reply of exactly `reply`'s size. Throws
/// OperatorError when the daemon is not there, or sends a part of a reply.
ExchangeResult exchange_record(const char* path, std::span<const std::byte> request,
                               std::span<std::byte> reply, std::int64_t deadline);

/// Sends one datagram to `path`. Throws OperatorError when it could not be delivered.
void send_datagram(const char* path, std::span<const std::byte> record);

}  // namespace webauth
