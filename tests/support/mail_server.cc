#include "tests/support/mail_server.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

namespace webauth {
namespace {

// With a key and a certificate of its own.
SSL_CTX* make_context() {
  SSL_CTX* context = SSL_CTX_new(TLS_server_method());
  EVP_PKEY* key = EVP_EC_gen("P-256");
  X509* certificate = X509_new();
  X509_gmtime_adj(X509_getm_notBefore(certificate), 0);
  X509_gmtime_adj(X509_getm_notAfter(certificate), 86'400);
  X509_set_pubkey(certificate, key);
  X509_sign(certificate, key, EVP_sha256());
  SSL_CTX_use_certificate(context, certificate);
  SSL_CTX_use_PrivateKey(context, key);
  return context;
}

bool say(BIO* client, const std::string& answer) {
  std::istringstream pieces(answer);
  for (std::string piece; std::getline(pieces, piece, '|');) {
    if (piece == "close") return false;
    if (BIO_write(client, piece.data(), static_cast<int>(piece.size())) <= 0) return false;
    poll(nullptr, 0, pieces.eof() ? 0 : 1'000);
  }
  return true;
}

// Passes on what the client says. False at its end.
bool hear(BIO* client, int heard) {
  char bytes[512];
  const int count = BIO_read(client, bytes, sizeof bytes);
  std::string line(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
  SSL* tls = nullptr;
  BIO_get_ssl(client, &tls);
  const bool alert = tls != nullptr && (SSL_get_shutdown(tls) & SSL_RECEIVED_SHUTDOWN) != 0;
  if (alert) line = "(a closing alert)\r\n";
  if (line.starts_with('\x16')) line = "(a TLS hello)\r\n";
  if (line.ends_with("\r\n")) (void)!write(heard, line.data(), line.size());
  return count > 0;
}

void serve(BIO* client, const Lines& says, int heard) {
  const int on = 1;
  setsockopt(static_cast<int>(BIO_get_fd(client, nullptr)), IPPROTO_TCP, TCP_NODELAY, &on,
             sizeof on);
  bool open = true;
  for (auto answer = says.begin(); open && answer != says.end();) {
    open = say(client, *answer) && hear(client, heard);
    const auto next = answer + 1;
    if (next == says.end() || *next != "...") answer = next;
  }
  while (open && hear(client, heard)) {
  }
  BIO_free_all(client);
}

}  // namespace

MailServer::MailServer(const Lines& says, bool tls, int port)
    : listener_(BIO_new_accept(("127.0.0.1:" + std::to_string(port)).c_str())) {
  BIO_set_bind_mode(listener_, BIO_BIND_REUSEADDR);
  int heard[2];
  // The first call of BIO_do_accept only listens.
  require(BIO_do_accept(listener_) == 1 && pipe2(heard, O_CLOEXEC | O_NONBLOCK) == 0,
          "mail server");
  heard_ = heard[0];
  process_ = fork();
  if (process_ != 0) {
    close(heard[1]);
    return;
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  signal(SIGPIPE, SIG_IGN);
  const int listener = static_cast<int>(BIO_get_fd(listener_, nullptr));
  for (int fd = STDERR_FILENO + 1; fd < 64; ++fd) {
    if (fd != heard[1] && fd != listener)
      close(fd);  // the daemon's sockets are not for this process
  }
  if (tls) BIO_set_accept_bios(listener_, BIO_new_ssl(make_context(), 0));
  while (BIO_do_accept(listener_) == 1) serve(BIO_pop(listener_), says, heard[1]);
  _exit(0);
}

MailServer::~MailServer() {
  kill(process_, SIGKILL);
  stop();
  close(heard_);
}

int MailServer::port() const { return std::atoi(BIO_get_accept_port(listener_)); }

Lines MailServer::heard() {
  Lines lines;
  std::string text;
  for (char byte = 0; read(heard_, &byte, 1) == 1;) {
    if (byte == '\n') lines.push_back(text.substr(0, text.size() - 1));
    byte == '\n' ? text.clear() : text.push_back(byte);
  }
  return lines;
}

void MailServer::stop() {
  if (listener_ == nullptr) return;
  shutdown(static_cast<int>(BIO_get_fd(listener_, nullptr)), SHUT_RDWR);
  waitpid(process_, nullptr, 0);
  BIO_free_all(listener_);
  listener_ = nullptr;
}

}  // namespace webauth
