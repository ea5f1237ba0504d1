#include "bench/mail.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "bench/neighbours.h"
#include "common/file.h"
#include "daemon/core/settings.h"
#include "daemon/login/mail_connection.h"
#include "daemon/platform/settings_store.h"

namespace webauth {
namespace {

constexpr char KEY[] = "/run/bench-key.pem";
constexpr char CERTIFICATE[] = "/run/bench-cert.pem";
constexpr char ANSWER[] = "+OK \r\n";  // what both protocols take for a yes

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

SSL_CTX* make_server_context() {
  const std::string make_key =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=bench "
      "-keyout ";
  require(std::system((make_key + KEY + " -out " + CERTIFICATE + " 2>/dev/null").c_str()) == 0,
          "openssl req");
  SSL_CTX* context = SSL_CTX_new(TLS_server_method());
  require(SSL_CTX_use_certificate_file(context, CERTIFICATE, SSL_FILETYPE_PEM) == 1, CERTIFICATE);
  require(SSL_CTX_use_PrivateKey_file(context, KEY, SSL_FILETYPE_PEM) == 1, KEY);
  return context;
}

[[noreturn]] void serve_for_ever(int listener, SSL_CTX* context) {
  for (;;) {
    const int fd = accept(listener, nullptr, nullptr);
    const int on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // as mail servers do
    BIO* client = BIO_new_socket(fd, BIO_CLOSE);
    if (context != nullptr) client = BIO_push(BIO_new_ssl(context, 0), client);
    char command[256];
    do {
      BIO_write(client, ANSWER, sizeof ANSWER - 1);
    } while (BIO_read(client, command, sizeof command) > 0);
    BIO_free_all(client);
  }
}

class MailServer {
 public:
  explicit MailServer(bool tls) : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    SSL_CTX* context = tls ? make_server_context() : nullptr;
    const sockaddr_in address = loopback(0);
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    require(bind(listener_, name, sizeof address) == 0 && listen(listener_, 8) == 0, "mail server");
    child_ = fork();
    require(child_ >= 0, "fork");
    if (child_ > 0) SSL_CTX_free(context);
    if (child_ > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(listener_, STDIN_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, 0);  // the daemon's sockets are not for this process
    serve_for_ever(STDIN_FILENO, context);
  }

  ~MailServer() {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
    close(listener_);
  }

  MailServer(const MailServer&) = delete;
  MailServer& operator=(const MailServer&) = delete;

  [[nodiscard]] int port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
  }

 private:
  int listener_;
  pid_t child_ = 0;
};

int mail_port(bool tls) {
  static const MailServer PLAIN(false), SECURE(true);
  static const int PORTS[] = {PLAIN.port(), SECURE.port()};
  return PORTS[tls ? 1 : 0];
}

void read_answer(int fd, SSL* tls) {
  char answer[256];
  const ssize_t count =
      tls != nullptr ? SSL_read(tls, answer, sizeof answer) : recv(fd, answer, sizeof answer, 0);
  require(count == sizeof ANSWER - 1, "mail server's answer");
}

void send_command(int fd, SSL* tls, const char* command) {
  const std::size_t length = std::strlen(command);
  if (tls != nullptr) {
    SSL_write(tls, command, static_cast<int>(length));
  } else {
    (void)send(fd, command, length, 0);
  }
  read_answer(fd, tls);
}

}  // namespace

void choose_mail_server(bool tls, bool imap) {
  static std::string chosen;
  std::string settings = tls ? "WEBAUTH_POP3SSL=YES\n" : "";
  settings += imap ? "WEBAUTH_E_PRO=imap\n" : "WEBAUTH_E_PRO=pop3\n";
  if (chosen == settings) return;
  chosen = settings;
  std::filesystem::create_directories("/etc/webauthd");
  const File file(std::fopen(DEFAULT_SETTINGS_FILE, "we"));
  require(file && std::fputs(settings.c_str(), file.get()) >= 0, DEFAULT_SETTINGS_FILE);
  init_tls_library();
  std::strcpy(mail_server_host, "127.0.0.1");
  mail_server_port = mail_port(tls);
}

void bare_mail_client(bool tls, bool imap) {
  const sockaddr_in address = loopback(mail_port(tls));
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  require(connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "connect");
  SSL_CTX* context = tls ? SSL_CTX_new(TLS_client_method()) : nullptr;
  SSL* session = tls ? SSL_new(context) : nullptr;
  if (tls) {
    SSL_set_fd(session, fd);
    require(SSL_connect(session) == 1, "handshake");
  }
  read_answer(fd, session);
  if (imap) {
    send_command(fd, session, "C1 LOGIN visitor000001 secret\r\n");
  } else {
    send_command(fd, session, "USER visitor000001\r\n");
    send_command(fd, session, "PASS secret\r\n");
  }
  close(fd);
  SSL_free(session);
  SSL_CTX_free(context);
}

}  // namespace webauth
