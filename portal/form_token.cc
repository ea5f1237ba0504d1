#include "portal/form_token.h"

#include <openssl/crypto.h>
#include <sys/random.h>

#include <charconv>
#include <stdexcept>

namespace webauth {
namespace {

constexpr std::size_t SEAL_BYTES = 16;  // of the HMAC's 32

// Use and time, a full stop, and their seal in hexadecimal.
std::string sealed(const TokenKey& key, std::uint32_t ip, const std::string& text) {
  const std::string message = text + ' ' + std::to_string(ip);
  const Digest seal = hmac_sha256(key, message);
  std::string token = text + '.';
  for (std::size_t i = 0; i < SEAL_BYTES; ++i) {
    constexpr char DIGITS[] = "0123456789abcdef";
    token += DIGITS[seal[i] >> 4];
    token += DIGITS[seal[i] & 0xf];
  }
  return token;
}

}  // namespace

TokenKey make_token_key() {
  TokenKey key;
  if (getrandom(key.data(), key.size(), 0) != static_cast<ssize_t>(key.size())) {
    throw std::runtime_error("the system has no random bytes");
  }
  return key;
}

std::string make_token(const TokenKey& key, std::uint32_t ip, TokenUse use, std::int64_t now) {
  return sealed(key, ip, static_cast<char>(use) + std::to_string(now));
}

std::optional<Token> read_token(const TokenKey& key, std::uint32_t ip, std::string_view text,
                                std::int64_t now) {
  const std::size_t stop = text.find('.');
  if (stop == std::string_view::npos || stop == 0) return {};
  const std::string expected = sealed(key, ip, std::string(text.substr(0, stop)));
  if (expected.size() != text.size()) return {};
  if (CRYPTO_memcmp(expected.data(), text.data(), text.size()) != 0) return {};
  std::int64_t made = 0;
  (void)std::from_chars(text.data() + 1, text.data() + stop, made);  // we wrote it
  if (now - made > TOKEN_SECONDS) return {};
  return Token{.use = static_cast<TokenUse>(text[0]), .age = now - made};
}

}  // namespace webauth
