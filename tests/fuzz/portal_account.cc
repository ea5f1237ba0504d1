// The account file: a password is right only if the file says so where the daemon looks.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "portal/account_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string file(reinterpret_cast<const char*>(data), size);
  if (file.find("rounds=") != std::string::npos) return 0;  // right, and slow
  const int fd = memfd_create("accounts", MFD_CLOEXEC);
  if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  const auto verdict = webauth::check_account(path.c_str(), "alice", "secret");
  const bool is_written =
      file.find("alice secret") != std::string::npos || file.find("alice $") != std::string::npos;
  if (verdict == webauth::AccountVerdict::RIGHT && !is_written) std::abort();
  close(fd);
  return 0;
}
