#include "common/fatal.h"

#include <cstdlib>

namespace webauth {

void end_process() { std::exit(1); }

}  // namespace webauth
