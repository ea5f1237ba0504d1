// One TCP connection to the mail server, plain or under TLS, as the probes use it.
//
// The connect is given 2 seconds, each reply and each step of the handshake 2 seconds of silence.
// No bound have: name resolution, a plain server that goes on sending behind a reply of 256 bytes,
// and a TLS server that sends a record in small pieces. The server's certificate is not checked.
// Buffers are fixed; nothing is written to the log; nothing here ends the process, which must
// ignore SIGPIPE.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>

namespace webauth {

/// Prepares the TLS library, once, before the first TLS connection.
void init_tls_library();

/// What a probe opened; all of it is given back when it dies.
struct MailConnection {
  int fd = -1;
  SSL_CTX* context = nullptr;
  SSL* tls = nullptr;  ///< null on a plain connection

  MailConnection() = default;
  MailConnection(const MailConnection&) = delete;
  MailConnection& operator=(const MailConnection&) = delete;
  ~MailConnection();
};

/// Connects to `server`, a host name or a dotted IPv4 address of at most 22 characters, at `port`
/// (host byte order). False: no connection.
[[nodiscard]] bool mail_connect(MailConnection& connection, const char* server, int port);

/// Puts an open connection under TLS. False: the handshake failed.
[[nodiscard]] bool mail_start_tls(MailConnection& connection);

/// Formats one command and sends it whole. False when it was not sent, as are all lines of more
/// than 110 characters, CR LF included.
[[nodiscard, gnu::format(printf, 2, 3)]] bool mail_send_line(MailConnection& connection,
                                                             const char* format, ...);

/// How much of a reply is judged.
inline constexpr std::size_t MAIL_REPLY_LENGTH = 256;

/// Read one reply and tell whether it is positive. Only its first 256 bytes count. A plain reply
/// that fills them is read to its end, until the server is silent for 2 seconds or closes; under
/// TLS what follows is left for the next read.
bool pop3_reply_ok(MailConnection& connection);
bool imap_reply_ok(MailConnection& connection);

/// The two judgements, on a reply that ends in a NUL.
bool is_pop3_ok(const char* reply);
bool is_imap_ok(const char* reply);

}  // namespace webauth
