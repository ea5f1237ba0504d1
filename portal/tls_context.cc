#include "portal/tls_context.h"

#include <openssl/err.h>
#include <openssl/x509.h>

#include <stdexcept>

#include "common/file.h"

namespace webauth {
namespace {

[[noreturn]] void fail(const std::string& what) {
  char reason[160] = "not a file that can be read";
  if (const auto error = ERR_get_error(); error != 0) {
    ERR_error_string_n(error, reason, sizeof reason);
  }
  ERR_clear_error();
  throw std::runtime_error(what + ": " + reason);
}

// Asked for a passphrase OpenSSL would otherwise wait for somebody at the terminal.
int no_passphrase(char*, int, int, void*) { return 0; }

}  // namespace

TlsContext load_tls_context(const std::string& certificate, const std::string& key) {
  ERR_clear_error();
  TlsContext context(SSL_CTX_new(TLS_server_method()));
  if (!context) fail("cannot use TLS");
  SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                                         SSL_OP_CIPHER_SERVER_PREFERENCE |
                                         SSL_OP_CLEANSE_PLAINTEXT | SSL_OP_NO_TICKET);
  SSL_CTX_set_num_tickets(context.get(), 0);
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
  SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE |
                                      SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  SSL_CTX_set_default_passwd_cb(context.get(), no_passphrase);
  // Nothing that would hold the start up, as a pipe does.
  if (!open_for_reading(certificate.c_str()) ||
      SSL_CTX_use_certificate_chain_file(context.get(), certificate.c_str()) != 1) {
    fail("cannot load the certificate " + certificate);
  }
  if (!open_for_reading(key.c_str()) ||
      SSL_CTX_use_PrivateKey_file(context.get(), key.c_str(), SSL_FILETYPE_PEM) != 1 ||
      SSL_CTX_check_private_key(context.get()) != 1) {
    fail("cannot load the key " + key);
  }
  return context;
}

bool is_out_of_date(const SSL_CTX* context) {
  const X509* certificate = SSL_CTX_get0_certificate(context);
  return X509_cmp_current_time(X509_get0_notBefore(certificate)) > 0 ||
         X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0;
}

}  // namespace webauth
