// The address of a UNIX socket.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <string_view>

namespace webauth {

/// True of a path that an address holds with its closing NUL; what names a socket asserts it.
constexpr bool fits_unix_address(std::string_view path) {
  return path.size() < sizeof(sockaddr_un::sun_path);
}

/// The address of a path that fits.
inline sockaddr_un unix_address(std::string_view path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

}  // namespace webauth
