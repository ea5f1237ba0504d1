// Who keeps a place at the server and who gives it up, when more come than there is room for. Pure:
// nothing here fails.
//
// What the bounds are for: a few hundred silent connections must not keep an honest visitor out, so
// a newcomer always takes somebody's place, but never that of a login under way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace webauth {

struct ConnectionBounds {
  std::size_t all = 256;
  std::size_t per_address = 8;
  std::size_t tls = 192;  ///< of all
};

enum class Stage : std::uint8_t {
  FREE,
  ASKING,     ///< the request is not there as a whole, nor perhaps the TLS handshake
  UNDER_WAY,  ///< asked, and waiting for the daemon
  ANSWERING,  ///< the answer is on its way
  ANSWERED,   ///< all is sent, and the peer has not closed yet
};

struct Place {
  Stage stage = Stage::FREE;
  bool tls = false;
  std::uint32_t ip = 0;
  std::uint64_t order = 0;  ///< of arrival; different for each connection
};

/// Whether a connection more from `ip` would be over a bound, and which place it may take then.
struct Admission {
  bool is_over = false;
  std::optional<std::size_t> victim;  ///< none while over: the newcomer is closed
};

/// To be asked again after the victim has gone: another bound may be touched too.
Admission admit(std::span<const Place> places, const ConnectionBounds& bounds, std::uint32_t ip,
                bool tls);

/// The place that `ip` may take whatever the bounds: answered ones first, then the oldest that has
/// not finished asking, of its own address first.
std::optional<std::size_t> find_victim(std::span<const Place> places, std::uint32_t ip);

}  // namespace webauth
