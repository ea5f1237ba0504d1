// What the gate that enforces costs, in a small network of the sandbox: an admission, a large list,
// a packet and a stream through its rules, ten thousand ends at a time, and what it takes while
// idle.
#pragma once

#include "bench/measure.h"

namespace webauth {

/// The floor of an admission is one element added by libmnl; of a list, a reader that throws it
/// away; of packets, an interface that is not held back. Needs nftables, and the project's scripts.
void measure_gate(Table& table, int idle_seconds);

}  // namespace webauth
