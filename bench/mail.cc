#include "bench/mail.h"

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string_view>

#include "daemon/core/settings.h"
#include "daemon/login/mail_connection.h"
#include "daemon/platform/settings_store.h"
#include "tests/support/mail_server.h"
#include "tests/support/neighbours.h"

namespace webauth {
namespace {

constexpr char ANSWER[] = "+OK \r\n";  // what both protocols take for a yes
constexpr int SETTINGS_AGE_MS = 3'100;

struct Servers {
  MailServer plain{{ANSWER, "..."}};
  MailServer secure{{ANSWER, "..."}, true};

  // A router has a settings file, and the daemon reads one again and again while it is young.
  Servers() {
    std::filesystem::create_directories("/etc/webauthd");
    write_file(DEFAULT_SETTINGS_FILE, "WEBAUTH_SECTYPE=EMAIL\n");
    require(read_auth_mode() == AuthMode::EMAIL, DEFAULT_SETTINGS_FILE);
    poll(nullptr, 0, SETTINGS_AGE_MS);
    init_tls_library();
  }
};

MailServer& mail_server(bool tls) {
  static Servers servers;
  return tls ? servers.secure : servers.plain;
}

}  // namespace

void choose_mail_server(MailWay way) {
  std::strcpy(mail_server_host, "127.0.0.1");
  mail_server_port = mail_server(way.tls).port();
  require(nvram_set("WEBAUTH_POP3SSL", way.tls ? "YES" : "NO") == 0, "settings");
  require(nvram_set("WEBAUTH_E_PRO", way.imap ? "imap" : "pop3") == 0, "settings");
}

void bare_mail_client(MailWay way) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(mail_server(way.tls).port()));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  const auto* name = reinterpret_cast<const sockaddr*>(&address);
  require(connect(fd, name, sizeof address) == 0, "connect");
  SSL_CTX* context = way.tls ? SSL_CTX_new(TLS_client_method()) : nullptr;
  SSL* tls = way.tls ? SSL_new(context) : nullptr;
  if (way.tls) require(SSL_set_fd(tls, fd) == 1 && SSL_connect(tls) == 1, "handshake");
  const auto ask = [=](std::string_view command) {
    char answer[256];
    const auto length = static_cast<int>(command.size());
    if (way.tls && length > 0) SSL_write(tls, command.data(), length);
    if (!way.tls && length > 0) (void)send(fd, command.data(), command.size(), 0);
    const ssize_t count =
        way.tls ? SSL_read(tls, answer, sizeof answer) : recv(fd, answer, sizeof answer, 0);
    require(count == sizeof ANSWER - 1, "answer");
  };
  ask("");  // the greeting
  if (way.imap) {
    ask("C1 LOGIN visitor000001 secret\r\n");
  } else {
    ask("USER visitor000001\r\n");
    ask("PASS secret\r\n");
  }
  close(fd);
  SSL_free(tls);
  SSL_CTX_free(context);
}

}  // namespace webauth
