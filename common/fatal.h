// The one way out of the process.
#pragma once

namespace webauth {

/// Ends the process with exit status 1 and no message. Every fatal condition of the daemon ends
/// here.
[[noreturn]] void end_process();

}  // namespace webauth
