// The certificate and what is agreed with browsers: TLS 1.2 and later, no session kept, no
// renegotiation, buffers given back between records.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

namespace webauth {

struct TlsContextFree {
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using TlsContext = std::unique_ptr<SSL_CTX, TlsContextFree>;

/// Loads a certificate with its chain, and its key, both PEM. Throws std::runtime_error with the
/// reason; a key with a passphrase is one.
TlsContext load_tls_context(const std::string& certificate, const std::string& key);

/// Whether the certificate is not valid by the calendar: browsers will warn of it.
bool is_out_of_date(const SSL_CTX* context);

}  // namespace webauth
