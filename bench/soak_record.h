// Records of the soak's events, made of a small stock of addresses and names, some of them odd.
#pragma once

#include <string>

#include "bench/soak_event.h"

namespace webauth {

/// The bytes of a kind that is no garbage. Half of those who go are taken from the model.
std::string make_record(Generator& generator, const Model& model, Kind kind);

}  // namespace webauth
