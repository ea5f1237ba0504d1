// What an exception that nobody catches ends in, in place of the C++ library's handler: that one
// prints the exception, which takes a demangler of 30 kB along wherever the library is linked in.
#include <cstdlib>

namespace __gnu_cxx {
void __verbose_terminate_handler();                   // NOLINT(bugprone-reserved-identifier)
void __verbose_terminate_handler() { std::abort(); }  // NOLINT(bugprone-reserved-identifier)
}  // namespace __gnu_cxx
