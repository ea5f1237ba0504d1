// The one way out of the process.
#pragma once

namespace webauth {

/// Ends the process with exit status 1 and no message. Every fatal condition of the daemon ends
/// here.
[[noreturn]] void end_process();

/// Makes want of memory such a condition, from now on.
void end_process_without_memory();

}  // namespace webauth
