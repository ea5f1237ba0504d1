// The login channel's records: one 300-byte request per connection to the UNIX stream socket
// LOGIN_SOCKET_PATH, and at most one 300-byte reply back on it. Words are 32 bits in host byte
// order; texts end at their first NUL or at the end of their array.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace webauth {

inline constexpr char LOGIN_SOCKET_PATH[] = "/tmp/K5localsocket_login";

enum LoginRequestType : std::uint32_t {
  LOGIN_REQUEST = 2,  ///< every other type is ignored
};

enum LoginResult : std::uint32_t {
  LOGIN_ACCEPTED = 1,        ///< admitted, or (not by one-key login) the address is known already
  LOGIN_REFUSED = 2,         ///< the mail server or the name rule refused
  LOGIN_TIME_EXHAUSTED = 3,  ///< today's allowance is used up, or the account has expired
  LOGIN_NOT_LISTED = 4,      ///< the e-mail white list does not hold the name
};

struct LoginRequest {
  std::uint32_t type;  ///< LOGIN_REQUEST
  char user[64];       ///< account name or e-mail address
  char password[16];   ///< read by e-mail login only
  char extra1[64];     ///< kept with the online record of a local account
  char ip[16];         ///< the client's IPv4 address, dotted quad
  char mac[24];        ///< the client's MAC address, stored as it comes
  char extra2[64];     ///< kept with the online record of a local account
  std::uint32_t tag;   ///< kept with the online record, never interpreted
  char unused[44];
};

struct LoginReply {
  std::uint32_t result;  ///< LoginResult
  char unused[296];      ///< 0
};

static_assert(sizeof(LoginRequest) == 300);
static_assert(offsetof(LoginRequest, type) == 0);
static_assert(offsetof(LoginRequest, user) == 4);
static_assert(offsetof(LoginRequest, password) == 68);
static_assert(offsetof(LoginRequest, extra1) == 84);
static_assert(offsetof(LoginRequest, ip) == 148);
static_assert(offsetof(LoginRequest, mac) == 164);
static_assert(offsetof(LoginRequest, extra2) == 188);
static_assert(offsetof(LoginRequest, tag) == 252);
static_assert(offsetof(LoginRequest, unused) == 256);
static_assert(std::is_trivially_copyable_v<LoginRequest>);
static_assert(std::has_unique_object_representations_v<LoginRequest>);

static_assert(sizeof(LoginReply) == 300);
static_assert(offsetof(LoginReply, result) == 0);
static_assert(offsetof(LoginReply, unused) == 4);
static_assert(std::is_trivially_copyable_v<LoginReply>);
static_assert(std::has_unique_object_representations_v<LoginReply>);

}  // namespace webauth
