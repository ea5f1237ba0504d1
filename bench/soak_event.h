// What the soak does to the daemon: one event is the bytes of one connection or datagram, made at
// random from the addresses and names of a small town, so that events meet each other's records.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace webauth {

struct Model;

enum class Kind {
  LOGIN,
  ODD_LOGIN,      ///< texts that fill their fields, do not parse, or look like formats
  LOGIN_GARBAGE,  ///< random bytes, or a request cut or lengthened; of every length, as all garbage
  ONLINE,
  OFFLINE,
  CHECK_EXPIRY,
  KERNEL_GARBAGE,
  CUT,
  ADD_ACCOUNT,
  DELETE_ACCOUNT,
  ALLOW_MAC,
  WITHDRAW_MAC,
  CONTROL_GARBAGE,
};

inline constexpr std::size_t KIND_COUNT = 13;
const char* name_of(Kind kind);

enum class Channel { LOGIN, KERNEL, CONTROL };

/// How a front end behaves.
enum class Manner {
  PROMPT,  ///< connects, sends, reads to the end
  SLOW,    ///< sends when its connection has long been accepted
  GONE,    ///< does not wait for the answer
};

struct Event {
  Kind kind;
  Channel channel;
  std::string bytes;
  Manner manner = Manner::PROMPT;
};

struct Generator {
  std::mt19937_64 random;
  bool garbage = true;  ///< whether to send any
  std::array<std::size_t, KIND_COUNT> garbage_length{};
};

/// A number below `bound`.
std::size_t below(Generator& generator, std::size_t bound);

/// Lines for the account file of mode USERS.
std::vector<std::string> make_account_lines();

/// One to four events on one channel. Looks at the model for whom to take out.
std::vector<Event> next_batch(Generator& generator, const Model& model);

}  // namespace webauth
