// What a packet and a stream cost through the gate's rules.
#pragma once

#include "bench/measure.h"

namespace webauth {

/// The floor is an interface that is not held back. Needs the network of gate_bench.
void measure_forwarding(Table& table);

}  // namespace webauth
