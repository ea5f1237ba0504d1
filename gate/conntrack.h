// Forgets connections of clients: what was redirected before a login must not stick to it, and what
// was open before a cut is of no use any more. The rules cut by themselves, so this may come a
// little later and may fail.
//
// The table of connections is looked through in pieces, whenever the socket is readable, for all
// clients that are wanted at the time. However few they are, a look takes as long as the table is
// large: some ten milliseconds on a big machine. So looks take a quarter of the time at most, and
// cuts wait for a second for other work to share one with. Nothing here waits.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>

#include "gate/nfnetlink.h"

namespace webauth {

enum class Forget : bool { REDIRECTED, ALL };

/// Clients by address, in network byte order.
using ForgetList = std::unordered_map<std::uint32_t, Forget>;

struct Conntrack {
  Nfnetlink table;    ///< to be watched
  Nfnetlink changes;  ///< deletes
  ForgetList wanted;  ///< for the next look
  ForgetList looked_for;
  bool looking = false;
  // In steady_microseconds.
  std::int64_t began_at = 0;    ///< the look that goes on
  std::int64_t due = 0;         ///< the next one, when somebody is wanted
  std::int64_t not_before = 0;  ///< nor any other
  bool filters = true;  ///< whether the kernel can pass over other clients' connections by itself
};

/// Throws std::runtime_error.
Conntrack open_conntrack();

/// The last word on a client holds: who is let in again keeps what is open.
void forget_connections(Conntrack& conntrack, std::uint32_t ip, Forget which);

/// Begins to look for the clients that are wanted, unless it is looking already, or it is too
/// early.
void begin_to_forget(Conntrack& conntrack);

/// When to call that, in steady_microseconds; nothing: no need to.
std::optional<std::int64_t> next_look(const Conntrack& conntrack);

/// Goes on; to be called when `table` is readable.
void go_on_to_forget(Conntrack& conntrack);

}  // namespace webauth
