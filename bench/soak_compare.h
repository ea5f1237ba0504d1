// Finds where the daemon differs from the model. Every difference is a text that says what was
// expected and what came; the empty text is none.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/soak_daemon.h"
#include "bench/soak_model.h"

namespace webauth {

/// Compares what a batch did, everything in its order. `is_killed`: the daemon was killed
/// meanwhile, so what came may end early.
std::string find_difference(const std::vector<Event>& batch, const Effects& expected,
                            const Observed& observed, bool is_killed = false);

/// `mode`: the digit that ends each line.
std::string find_list_difference(const List& expected, char mode,
                                 const std::optional<std::string>& published);

/// Bytes as text: what does not print in hexadecimal.
std::string printable(const std::string& bytes);

}  // namespace webauth
