// Lines of the account file.
#include <cstdlib>
#include <string>

#include "login/account_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line(reinterpret_cast<const char*>(data), size);
  const webauth::OnlineUser account = webauth::read_account(line.c_str());
  if (account.user.size() > 63 || account.note.size() > 63) std::abort();
  if (account.user.find_first_of(" \n") == 0) std::abort();
  return 0;
}
