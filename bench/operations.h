// The daemon's operations beside their floors while users are online.
//
// A floor is what the operation must do whatever the daemon is made of, in bare calls on the same
// sockets and paths, with the bytes that the daemon itself left in Stage::traces. No select, no
// table, no text is made in it.
#pragma once

#include <span>

#include "bench/mail.h"
#include "bench/measure.h"
#include "bench/stage.h"

namespace webauth {

struct Operation {
  const char* name;
  AuthMode mode;
  int change;               ///< what it adds to the number of online users
  void (*prepare)(Stage&);  ///< chooses whom it is about; not measured
  void (*daemon)(Stage&);   ///< measured, as the floor is
  void (*floor)(Stage&);
  void (*restore)(Stage&);  ///< after `daemon`: as many users online as before; not measured
  MailWay mail = {};        ///< mode EMAIL
};

std::span<const Operation> operations();

/// Does the operation once, and leaves its traces. Throws when it has had no effect.
Seconds perform(const Operation& operation, Stage& stage);

/// The operation and its floor with so many users online.
void measure_operation(Table& table, const Operation& operation, std::size_t users);

}  // namespace webauth
