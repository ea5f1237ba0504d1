// Logins that wait for the daemon, which takes one at a time: who has a place, and when one is over
// and how. Pure: nothing here fails but for want of memory, which the bounds limit.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "common/address_text.h"
#include "daemon/core/auth_mode.h"

namespace webauth {

/// A password on its way, at most 16 bytes; wiped when it goes.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string_view text);
  ~Secret();
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
  Secret(Secret&& other) noexcept;
  Secret& operator=(Secret&& other) noexcept;
  [[nodiscard]] std::string_view text() const { return {bytes_.data(), size_}; }

 private:
  void wipe();

  std::array<char, 16> bytes_{};
  std::size_t size_ = 0;
};

struct Login {
  std::uint32_t ip = 0;  ///< network byte order
  MacAddress mac{};
  AuthMode mode = AuthMode::LOCAL;  ///< under which it was checked
  std::string user;
  Secret password;  ///< EMAIL only
  bool cut_first = false;
};

/// In order of arrival; the first is in flight.
using LoginQueue = std::deque<Login>;

inline constexpr std::size_t MOST_MAIL_LOGINS = 64;  ///< each may take seconds
inline constexpr std::size_t MOST_LOGINS = 512;

bool is_queued(const LoginQueue& queue, std::uint32_t ip);

/// Whether there is a place more in the queue of a mode.
bool has_room(const LoginQueue& queue, AuthMode mode);

enum class LoginOutcome {
  ADMITTED,
  REFUSED,       ///< by the mail server or the name rule
  TIME_USED_UP,  ///< today's allowance, or the account's days
  NOT_LISTED,    ///< not on the white list
  NOT_ADMITTED,  ///< answered, or not, and not online all the same
  UNREACHABLE,   ///< the daemon is not there, or did not answer
};

/// How the connection that carried a login ended.
struct ExchangeEnd {
  enum How { CLOSED, FAILED, TIMED_OUT } how = FAILED;
  std::uint32_t result = 0;  ///< of the reply; 0: none
};

struct LoginVerdict {
  bool try_again = false;  ///< cut the address first: the daemon holds an old record of it
  LoginOutcome outcome = LoginOutcome::NOT_ADMITTED;
};

/// `is_published`: the client is in the list now; `tries`: logins sent so far, this one included.
LoginVerdict judge_login(const ExchangeEnd& end, bool is_published, int tries);

}  // namespace webauth
