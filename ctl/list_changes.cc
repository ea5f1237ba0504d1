#include "ctl/list_changes.h"

#include <string>
#include <unordered_map>

namespace webauth {
namespace {

// An address may be listed several times: its users, in the order of the list.
using ByAddress = std::unordered_map<std::string, std::vector<const ListedUser*>>;

ByAddress by_address(const UserList& list) {
  ByAddress users;
  for (const ListedUser& user : list.users) users[user.ip].push_back(&user);
  return users;
}

// Takes out of `others` one who is the same as `user`, or else, if allowed, the first at its
// address.
const ListedUser* take_match(ByAddress& others, const ListedUser& user, bool any) {
  const auto found = others.find(user.ip);
  if (found == others.end()) return nullptr;
  auto& users = found->second;
  for (auto at = users.begin(); at != users.end(); ++at) {
    if (!any && **at != user) continue;
    const ListedUser* const match = *at;
    users.erase(at);
    return match;
  }
  return nullptr;
}

}  // namespace

std::vector<ListChange> list_changes(const UserList& before, const UserList& now) {
  ByAddress old = by_address(before);
  std::vector<const ListedUser*> unmatched;
  for (const ListedUser& user : now.users) {
    if (take_match(old, user, false) == nullptr) unmatched.push_back(&user);
  }
  std::vector<ListChange> later;
  for (const ListedUser* user : unmatched) {
    const bool was_there = take_match(old, *user, true) != nullptr;
    later.push_back({was_there ? ListEvent::CHANGED : ListEvent::ARRIVED, *user});
  }
  std::vector<ListChange> changes;
  for (const ListedUser& user : before.users) {
    if (take_match(old, user, false) != nullptr) changes.push_back({ListEvent::DEPARTED, user});
  }
  changes.insert(changes.end(), later.begin(), later.end());
  return changes;
}

}  // namespace webauth
