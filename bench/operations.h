// The operations that are measured against their floor while users are online.
#pragma once

#include <span>

#include "bench/world.h"
#include "daemon/core/settings.h"

namespace webauth {

struct Operation {
  const char* name;
  AuthMode mode;
  int change;               ///< what it adds to the number of online users
  void (*prepare)(World&);  ///< chooses whom it is about; not measured
  void (*daemon)(World&);   ///< measured, as the floor is
  void (*floor)(World&);
  void (*restore)(World&);  ///< after `daemon`: as many users online as before; not measured
};

std::span<const Operation> operations();

/// Whether the daemon has done what was asked of it, before `restore`.
bool had_effect(const Operation& operation, const World& world);

/// Runs the operation once and keeps what it left, for the floor. False when it had no effect.
bool rehearse(const Operation& operation, World& world);

}  // namespace webauth
