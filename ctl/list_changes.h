// What happened between two published lists. Nothing here fails.
#pragma once

#include <vector>

#include "ctl/user_list.h"

namespace webauth {

enum class ListEvent : int {
  ARRIVED = 0,
  DEPARTED = 1,
  CHANGED = 2,  ///< the same address with another name, MAC address or login time
};

struct ListChange {
  ListEvent event;
  ListedUser user;  ///< as it is now; as it was, of one who departed
};

/// Departures in the order of the old list, then the rest in the order of the new one.
std::vector<ListChange> list_changes(const UserList& before, const UserList& now);

}  // namespace webauth
