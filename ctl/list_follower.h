// Follows the published list and the daemon itself, for the commands that go on until a signal ends
// them.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "ctl/daemon_socket.h"
#include "ctl/list_changes.h"
#include "ctl/list_watch.h"
#include "ctl/user_list.h"

namespace webauth {

/// What a pass of the follower has found.
struct Followed {
  std::vector<bool> daemon;  ///< what became of it since: true came, false went, in this order
  std::vector<ListChange> changes;
};

class ListFollower {
 public:
  /// Throws OperatorError when the list cannot be read.
  ListFollower();

  [[nodiscard]] const UserList& list() const { return list_; }
  [[nodiscard]] bool daemon_is_up() const { return daemon_.has_value(); }

  /// Waits for a change of the list, at most a second, and compares. False when nobody reads the
  /// standard output any more. Throws OperatorError when the list cannot be read or watched; what a
  /// list holds that cannot be read as a user is left out.
  bool follow(Followed& found);

 private:
  /// Which daemon it is: the inode of its socket and when it was made.
  struct Daemon {
    std::uint64_t inode;
    std::int64_t seconds;
    std::int64_t nanoseconds;
    bool operator==(const Daemon&) const = default;
  };
  static std::optional<Daemon> running_daemon();

  ListWatch watch_;
  UserList list_;
  std::optional<Daemon> daemon_;
};

}  // namespace webauth
