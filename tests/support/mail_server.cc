#include "tests/support/mail_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

namespace webauth {
namespace {

// With a key and a certificate made for this process.
SSL_CTX* make_context() {
  SSL_CTX* context = SSL_CTX_new(TLS_server_method());
  EVP_PKEY* key = EVP_EC_gen("P-256");
  X509* certificate = X509_new();
  X509_gmtime_adj(X509_getm_notBefore(certificate), -86'400);
  X509_gmtime_adj(X509_getm_notAfter(certificate), 86'400);
  X509_set_pubkey(certificate, key);
  X509_sign(certificate, key, EVP_sha256());
  SSL_CTX_use_certificate(context, certificate);
  SSL_CTX_use_PrivateKey(context, key);
  X509_free(certificate);
  EVP_PKEY_free(key);
  return context;
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

bool say(BIO* client, const std::string& answer) {
  std::istringstream pieces(answer);
  for (std::string piece; std::getline(pieces, piece, '|');) {
    if (piece == "close") return false;
    if (BIO_write(client, piece.data(), static_cast<int>(piece.size())) <= 0) return false;
    poll(nullptr, 0, pieces.eof() ? 0 : 1'000);
  }
  return true;
}

void serve(BIO* client, const Lines& says, int heard) {
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

[[noreturn]] void serve_all(int listener, const Lines& says, SSL_CTX* context, int heard) {
  for (int fd = 0; (fd = accept(listener, nullptr, nullptr)) >= 0;) {
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // as mail servers do
    BIO* client = BIO_new_socket(fd, BIO_CLOSE);
    if (context != nullptr) client = BIO_push(BIO_new_ssl(context, 0), client);
    serve(client, says, heard);
  }
  _exit(0);
}

}  // namespace

MailServer::MailServer(const Lines& says, bool tls, int port)
    : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  const int on = 1;
  setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  auto* name = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  require(bind(listener_, name, size) == 0 && listen(listener_, 8) == 0, "mail server");
  getsockname(listener_, name, &size);
  port_ = ntohs(address.sin_port);
  int heard[2];
  require(pipe2(heard, O_CLOEXEC) == 0, "pipe");
  process_ = fork();
  require(process_ >= 0, "fork");
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGPIPE, SIG_IGN);
    dup2(listener_, STDIN_FILENO);
    dup2(heard[1], STDOUT_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, 0);  // of this process's sockets it needs no other
    serve_all(STDIN_FILENO, says, tls ? make_context() : nullptr, STDOUT_FILENO);
  }
  close(heard[1]);
  heard_ = heard[0];
}

MailServer::~MailServer() {
  kill(process_, SIGKILL);
  stop();
  close(heard_);
}

Lines MailServer::heard() {
  Lines lines;
  std::string text;
  for (char byte = 0; fcntl(heard_, F_SETFL, O_NONBLOCK) == 0 && read(heard_, &byte, 1) == 1;) {
    if (byte == '\n') lines.push_back(text.substr(0, text.size() - 1));
    byte == '\n' ? text.clear() : text.push_back(byte);
  }
  return lines;
}

void MailServer::stop() {
  if (listener_ < 0) return;
  shutdown(listener_, SHUT_RDWR);
  waitpid(process_, nullptr, 0);
  close(listener_);
  listener_ = -1;
}

}  // namespace webauth
