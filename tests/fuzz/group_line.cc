// The e-mail group's line: whatever it holds, an address that went in comes out again.
#include <cstdlib>
#include <string>

#include "login/email_group.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line(reinterpret_cast<const char*>(data), size);
  std::string edited = line;
  const bool added = webauth::add_group_address(edited, "10.0.0.1");
  if (!added && edited != line) std::abort();
  if (added && webauth::add_group_address(edited, "10.0.0.1")) std::abort();
  if (added && !webauth::remove_group_address(edited, "10.0.0.1")) std::abort();
  webauth::remove_group_address(edited, "10.0.0.2");
  return 0;
}
