#include "common/fatal.h"

#include <cstdlib>
#include <new>

namespace webauth {

void end_process() { std::exit(1); }

void end_process_without_memory() { std::set_new_handler(end_process); }

}  // namespace webauth
