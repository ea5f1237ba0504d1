// The token in every form of ours: proof that a form was served to the address that sends it, not
// long ago, by this process. An HMAC of address and time with a key of the process; no cookie, and
// nothing is kept. Times are seconds of the steady clock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "portal/digest.h"

namespace webauth {

inline constexpr std::int64_t TOKEN_SECONDS = 7200;  ///< as long as a token is valid

using TokenKey = Digest;

/// What the button of the form is for.
enum class TokenUse : char {
  PAGE = 'p',   ///< what its form says
  AGAIN = 'a',  ///< cut, then log in again
};

struct Token {
  TokenUse use;
  std::int64_t age;  ///< seconds
};

/// Throws std::runtime_error when the system has no random bytes.
TokenKey make_token_key();

std::string make_token(const TokenKey& key, std::uint32_t ip, TokenUse use, std::int64_t now);

/// Nothing when it is not ours, of another address, or too old.
std::optional<Token> read_token(const TokenKey& key, std::uint32_t ip, std::string_view text,
                                std::int64_t now);

}  // namespace webauth
