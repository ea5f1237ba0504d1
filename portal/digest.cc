// By the functions below EVP, old as they are: through EVP, and through HMAC(), OpenSSL 3 loads its
// providers, two megabytes that a portal without TLS needs for nothing else.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "portal/digest.h"

#include <openssl/crypto.h>
#include <openssl/sha.h>

namespace webauth {
namespace {

using Block = std::array<unsigned char, SHA256_CBLOCK>;

Digest digest_of(std::string_view first, std::string_view second) {
  Digest digest;
  SHA256_CTX context;
  SHA256_Init(&context);
  SHA256_Update(&context, first.data(), first.size());
  SHA256_Update(&context, second.data(), second.size());
  SHA256_Final(digest.data(), &context);
  OPENSSL_cleanse(&context, sizeof context);
  return digest;
}

template <typename Bytes>
std::string_view text_of(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Block padded(const Digest& key, unsigned char with) {
  Block block;
  block.fill(with);
  for (std::size_t i = 0; i < key.size(); ++i) block[i] ^= key[i];
  return block;
}

}  // namespace

Digest sha256(std::string_view text) { return digest_of(text, {}); }

Digest hmac_sha256(const Digest& key, std::string_view text) {
  const Digest inner = digest_of(text_of(padded(key, 0x36)), text);
  return digest_of(text_of(padded(key, 0x5c)), text_of(inner));
}

}  // namespace webauth
