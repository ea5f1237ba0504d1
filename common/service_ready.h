// Tells the service manager that the program serves, where one waits for that: the READY message of
// systemd's notify protocol, sd_notify(3).
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdlib>
#include <string_view>

#include "common/fd_guard.h"
#include "common/unix_address.h"

namespace webauth {

/// Does nothing without NOTIFY_SOCKET in the environment.
inline void tell_service_ready() {
  const char* path = std::getenv("NOTIFY_SOCKET");
  if (path == nullptr || !fits_unix_address(path)) return;
  sockaddr_un address = unix_address(path);
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';  // an abstract one
  const auto size = offsetof(sockaddr_un, sun_path) + std::string_view(path).size();
  const FdGuard fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  constexpr std::string_view READY = "READY=1\n";
  (void)sendto(fd.get(), READY.data(), READY.size(), MSG_NOSIGNAL,
               reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(size));
}

}  // namespace webauth
