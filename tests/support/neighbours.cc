#include "tests/support/neighbours.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "common/unix_address.h"
#include "daemon/control/control_message.h"
#include "daemon/login/login_record.h"
#include "daemon/platform/kernel_endpoint.h"

namespace webauth {
namespace {

constexpr char LOG_PATH[] = "/dev/log";

// `call` is bind or connect.
int open_socket(int family, int type, auto call, const auto& address, const char* what) {
  const int fd = socket(family, type | SOCK_CLOEXEC, family == AF_NETLINK ? NETLINK_USERSOCK : 0);
  require(call(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, what);
  return fd;
}

std::string meaning(const std::string& word) {
  std::string text;
  unsigned number = 0;
  int used = 0;
  for (const char* at = word.c_str(); *at != '\0'; at += used) {
    char c = at[0] == '\\' && at[1] == 'n' ? '\n' : *at;
    used = c == *at ? 1 : 2;
    if (std::sscanf(at, "\\x%2x%n", &number, &used) == 1) {
      text += static_cast<char>(number);
    } else if (std::sscanf(at, "\\%u*%c%n", &number, &c, &used) == 2) {
      text.append(number, c);
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

void enter_sandbox() {
  require(access("/.sandbox", F_OK) == 0, "run me through scripts/sandbox: /.sandbox");
  signal(SIGPIPE, SIG_IGN);
  umask(022);
  setenv("PATH", (PROGRAM_FOLDERS + std::string(std::getenv("PATH"))).c_str(), 1);
  setenv("WEBAUTHD_KERNEL_PORT", std::to_string(GATE_PORT).c_str(), 1);
}

int open_log_sink() {
  unlink(LOG_PATH);
  return open_socket(AF_UNIX, SOCK_DGRAM, bind, unix_address(LOG_PATH), LOG_PATH);
}

int open_kernel_side(std::uint32_t daemon_port) {
  const int fd = open_socket(AF_NETLINK, SOCK_RAW, bind, netlink_address(GATE_PORT), "GATE_PORT");
  const sockaddr_nl daemon = netlink_address(daemon_port);
  if (daemon_port == 0) return fd;
  require(connect(fd, reinterpret_cast<const sockaddr*>(&daemon), sizeof daemon) == 0, "netlink");
  return fd;
}

// The addresses are made once: what a client spends on them is no part of any measurement.
int connect_front_end() {
  static const sockaddr_un address = unix_address(LOGIN_SOCKET_PATH);
  return open_socket(AF_UNIX, SOCK_STREAM, connect, address, LOGIN_SOCKET_PATH);
}

int connect_control() {
  static const sockaddr_un address = unix_address(CONTROL_SOCKET_PATH);
  return open_socket(AF_UNIX, SOCK_DGRAM, connect, address, CONTROL_SOCKET_PATH);
}

int open_in_place(const char* path, int type) {
  unlink(path);
  const int fd = open_socket(AF_UNIX, type | SOCK_NONBLOCK, bind, unix_address(path), path);
  (void)listen(fd, 5);  // as far as it is a stream
  return fd;
}

void send_whole(int fd, std::string_view bytes) {
  const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  require(sent == static_cast<ssize_t>(bytes.size()), "send");
}

bool receive_now(int fd, std::string& bytes) {
  char buffer[8192];
  const ssize_t size = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
  bytes.assign(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
  return size >= 0;
}

std::string reply_to(int fd, bool whole) {
  const timeval patience{.tv_sec = PATIENCE, .tv_usec = 0};
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  std::string bytes;
  char buffer[1024];
  ssize_t count = 0;
  while ((count = recv(fd, buffer, sizeof buffer, whole ? 0 : MSG_DONTWAIT)) > 0) {
    bytes.append(buffer, static_cast<std::size_t>(count));
  }
  // A daemon that closes on bytes it has not read resets the connection.
  return whole && count < 0 && errno != ECONNRESET ? "not closed in time" : record_text(bytes);
}

std::string login_request(std::string_view ip, std::string_view mac, std::string_view user,
                          std::string_view password) {
  LoginRequest request{};
  user.copy(request.user, sizeof request.user);
  password.copy(request.password, sizeof request.password);
  request.type = LOGIN_REQUEST;
  ip.copy(request.ip, sizeof request.ip);
  mac.copy(request.mac, sizeof request.mac);
  return std::string(bytes_of(request));
}

std::string record_text(std::string_view bytes, pid_t pid) {
  if (bytes.empty()) return "";
  std::ostringstream text;
  text << bytes.size() << ':' << std::hex;
  for (std::size_t at = 0; at < bytes.find_last_not_of('\0') + 1; at += 4) {
    std::uint32_t word = 0;
    bytes.copy(reinterpret_cast<char*>(&word), sizeof word, at);
    at == 12 && word == static_cast<std::uint32_t>(pid) ? text << " pid" : text << ' ' << word;
  }
  return text.str();
}

Lines lines_of(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

Lines words_of(const std::string& line) {
  Lines words;
  std::istringstream stream(line);
  for (std::string word; stream >> std::quoted(word, '"', '\0');) words.push_back(meaning(word));
  return words;
}

void write_file(const std::string& path, std::string_view text) {
  std::filesystem::remove(path);
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace webauth
