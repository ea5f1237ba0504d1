// Forgets connections of clients: what was redirected before a login must not stick to it, and what
// was open before a cut is of no use any more. The rules cut by themselves, so this may come a
// little later and may fail.
//
// The table of connections is looked through in pieces, whenever the socket is readable, for all
// clients that are wanted at the time. Nothing here waits.
#pragma once

#include <cstdint>
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
  bool filters = true;  ///< whether the kernel can pass over other clients' connections by itself
};

/// Throws std::runtime_error.
Conntrack open_conntrack();

void forget_connections(Conntrack& conntrack, std::uint32_t ip, Forget which);

/// Begins to look for the clients that are wanted, unless it is looking already.
void begin_to_forget(Conntrack& conntrack);

/// Goes on; to be called when `table` is readable.
void go_on_to_forget(Conntrack& conntrack);

}  // namespace webauth
