// The elements of the sets, in the kernel. Errors are the kernel's numbers, positive; ENOENT: the
// table or the set is gone. Nothing here waits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "gate/nfnetlink.h"
#include "gate/policy_set.h"

namespace webauth {

/// Applies changes in their order, some thousand in one transaction. Returns 0, or the error at
/// which it stopped: then of those up to `done` all are in the kernel, of those behind it none.
int apply_changes(Nfnetlink& link, std::span<const SetChange> changes, std::size_t& done);

struct Element {
  ElementKey key;
  std::int64_t left = 0;  ///< milliseconds of its time-out, 0 without one
  UserData data{};
};

/// Asks for one element; nothing when it is not there, or cannot be had.
std::optional<Element> find_element(Nfnetlink& link, PolicySet set, const ElementKey& key);

/// Calls `take` with every element of a set. Returns 0 or the error.
int dump_elements(Nfnetlink& link, PolicySet set, const std::function<void(const Element&)>& take);

}  // namespace webauth
