#include "daemon/login/mail_connection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace webauth {
namespace {

constexpr int WAIT_SECONDS = 2;
constexpr std::size_t ADDRESS_SIZE = 24;
constexpr std::size_t LONGEST_ADDRESS = 22;
constexpr std::size_t COMMAND_SIZE = 128;
constexpr int LONGEST_COMMAND = 110;

using Reply = char[MAIL_REPLY_LENGTH + 1];

// The dotted address to connect to. False when the name does not resolve.
bool resolve(const char* server, char (&address)[ADDRESS_SIZE]) {
  address[0] = '\0';
  const std::size_t length = std::strlen(server);
  if (std::strspn(server, "0123456789.") == length) {
    // A longer one leaves the address empty, with which nothing can be connected.
    if (length <= LONGEST_ADDRESS) std::memcpy(address, server, length + 1);
    return true;
  }
  const hostent* host = gethostbyname(server);
  if (host == nullptr || host->h_addrtype != AF_INET || host->h_addr_list[0] == nullptr) {
    return false;
  }
  in_addr first{};
  std::memcpy(&first, host->h_addr_list[0], sizeof first);
  std::snprintf(address, sizeof address, "%s", inet_ntoa(first));
  return true;
}

// A connect of at most WAIT_SECONDS; the socket is a blocking one before and after.
bool connect_in_time(int fd, const sockaddr_in& peer) {
  const int flags = fcntl(fd, F_GETFL);
  if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) != 0) return false;
  if (connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) {
    if (errno != EINPROGRESS) return false;
    pollfd wait{.fd = fd, .events = POLLOUT, .revents = 0};
    if (poll(&wait, 1, WAIT_SECONDS * 1000) != 1) return false;
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0) return false;
  }
  return fcntl(fd, F_SETFL, flags) == 0;
}

int read_once(MailConnection& connection, char* buffer, int size) {
  if (connection.tls != nullptr) return SSL_read(connection.tls, buffer, size);
  return static_cast<int>(recv(connection.fd, buffer, static_cast<std::size_t>(size), 0));
}

// Leaves the beginning of the next reply in `reply`, followed by NULs.
bool read_reply(MailConnection& connection, Reply& reply) {
  std::memset(reply, 0, sizeof reply);
  constexpr int size = MAIL_REPLY_LENGTH;
  const int count = read_once(connection, reply, size);
  if (count <= 0) return false;
  if (count == size && connection.tls == nullptr) {
    char rest[MAIL_REPLY_LENGTH];
    while (read_once(connection, rest, size) > 0) {
    }
  }
  return true;
}

}  // namespace

void init_tls_library() {
  SSL_library_init();
  OPENSSL_add_all_algorithms_noconf();
  SSL_load_error_strings();
}

MailConnection::~MailConnection() {
  // The socket goes first, so that no closing alert reaches the server. Nothing may open a
  // descriptor in between: the alert would go there.
  if (fd >= 0) close(fd);
  if (tls != nullptr) {
    SSL_shutdown(tls);
    SSL_free(tls);
  }
  if (context != nullptr) SSL_CTX_free(context);
}

bool mail_connect(MailConnection& connection, const char* server, int port) {
  char address[ADDRESS_SIZE];
  if (!resolve(server, address)) return false;
  connection.fd = socket(AF_INET, SOCK_STREAM, 0);
  if (connection.fd < 0) return false;
  sockaddr_in local{};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = htonl(INADDR_ANY);
  if (bind(connection.fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
    return false;
  }
  timeval silence{};
  silence.tv_sec = WAIT_SECONDS;
  if (setsockopt(connection.fd, SOL_SOCKET, SO_RCVTIMEO, &silence, sizeof silence) != 0) {
    return false;
  }
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(static_cast<std::uint16_t>(port));
  if (inet_aton(address, &peer.sin_addr) == 0) return false;
  return connect_in_time(connection.fd, peer);
}

bool mail_start_tls(MailConnection& connection) {
  connection.context = SSL_CTX_new(SSLv23_client_method());
  if (connection.context == nullptr) return false;
  connection.tls = SSL_new(connection.context);
  if (connection.tls == nullptr) return false;
  return SSL_set_fd(connection.tls, connection.fd) == 1 && SSL_connect(connection.tls) == 1;
}

bool mail_send_line(MailConnection& connection, const char* format, ...) {
  char line[COMMAND_SIZE] = {};
  va_list values;
  va_start(values, format);
  const int length = std::vsnprintf(line, sizeof line, format, values);
  va_end(values);
  if (length < 0 || length > LONGEST_COMMAND) return false;
  if (connection.tls != nullptr) return SSL_write(connection.tls, line, length) >= 0;
  return send(connection.fd, line, static_cast<std::size_t>(length), 0) == length;
}

bool is_pop3_ok(const char* reply) { return std::strncmp(reply, "+OK ", 4) == 0; }

bool is_imap_ok(const char* reply) { return std::strstr(reply, "OK") != nullptr; }

bool pop3_reply_ok(MailConnection& connection) {
  Reply reply;
  return read_reply(connection, reply) && is_pop3_ok(reply);
}

bool imap_reply_ok(MailConnection& connection) {
  Reply reply;
  return read_reply(connection, reply) && is_imap_ok(reply);
}

}  // namespace webauth
