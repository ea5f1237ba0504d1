#include "bench/portal_bench.h"

#include <arpa/inet.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <stdexcept>
#include <string>

#include "common/address_text.h"
#include "common/fd_guard.h"
#include "daemon/control/control_message.h"
#include "tests/support/world.h"

namespace webauth {
namespace {

constexpr int ITERATIONS = 400;
constexpr int SILENT = 1'000;
constexpr double SLOWEST_GOAL = 0.050;
constexpr std::int64_t MEMORY_GOAL_KB = 6 * 1024;
constexpr std::int64_t GROWTH_GOAL_KB = 12 * 1024;
constexpr std::uint16_t PORTAL_PORT = 8080;
constexpr std::uint16_t BARE_PORT = 8081;

sockaddr_in at(std::uint32_t address, std::uint16_t port) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(address);
  place.sin_port = htons(port);
  return place;
}

// Visitors are 127.1.0.0 and those behind it, one after the other.
int connect_from(std::uint32_t visitor, std::uint16_t port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in from = at(0x7f010000 + visitor, 0), to = at(INADDR_LOOPBACK, port);
  require(bind(fd, reinterpret_cast<const sockaddr*>(&from), sizeof from) == 0, "bind");
  require(connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0, "connect");
  return fd;
}

std::string ask(std::uint32_t visitor, std::uint16_t port, const std::string& request) {
  const FdGuard client(connect_from(visitor, port));
  send_whole(client.get(), request);
  std::string answer;
  char piece[16384];
  for (ssize_t count = 0; (count = recv(client.get(), piece, sizeof piece, 0)) > 0;) {
    answer.append(piece, static_cast<std::size_t>(count));
  }
  return answer;
}

const std::string GET = "GET / HTTP/1.1\r\nHost: 127.0.0.1:8080\r\n\r\n";

std::string post_of(const std::string& page) {
  const std::string before = "name=\"token\" value=\"";
  const std::size_t begin = page.find(before) + before.size();
  const std::string form = "token=" + page.substr(begin, page.find('"', begin) - begin);
  return "POST /login HTTP/1.1\r\nHost: 127.0.0.1:8080\r\nContent-Length: " +
         std::to_string(form.size()) + "\r\n\r\n" + form;
}

// A process that answers every request with `answer`.
class BareLoop {
 public:
  explicit BareLoop(const std::string& answer) {
    const FdGuard listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_in place = at(INADDR_LOOPBACK, BARE_PORT);
    const auto* name = reinterpret_cast<const sockaddr*>(&place);
    require(bind(listener.get(), name, sizeof place) == 0, "bind");
    require(listen(listener.get(), SOMAXCONN) == 0, "listen");
    process_ = fork();
    require(process_ >= 0, "fork");
    if (process_ == 0) serve(listener.get(), answer);
  }
  ~BareLoop() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  BareLoop(const BareLoop&) = delete;
  BareLoop& operator=(const BareLoop&) = delete;

 private:
  [[noreturn]] static void serve(int listener, const std::string& answer) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    char request[8192];
    for (;;) {
      const int client = accept(listener, nullptr, nullptr);
      (void)!recv(client, request, sizeof request, 0);
      (void)!write(client, answer.data(), answer.size());
      close(client);
    }
  }

  pid_t process_;
};

class PortalStage : public World {
 public:
  PortalStage() {
    start();  // without settings, in mode LOCAL
    portal.launch("exec webauth-portal --lan lo");
    require(portal.wait_until(Sleep::POLL), "webauth-portal");
  }

  Seconds page(std::uint16_t port) {
    std::string answer;
    const Seconds taken = seconds_of([&] { answer = ask(++visitor_, port, GET); });
    if (!answer.starts_with("HTTP/1.1 200 ")) throw std::runtime_error("no page: " + answer);
    return taken;
  }

  Seconds log_in_by_page() {
    const std::string post = post_of(ask(++visitor_, PORTAL_PORT, GET));
    std::string answer;
    const Seconds taken = seconds_of([&] { answer = ask(visitor_, PORTAL_PORT, post); });
    leave();
    if (!answer.starts_with("HTTP/1.1 303 ")) throw std::runtime_error("no login: " + answer);
    return taken;
  }

  Seconds log_in_at_daemon() {
    const std::string request = login_request(address_text(++visitor_), "00:00:00:00:00:00");
    std::string answer;
    const Seconds taken = seconds_of([&] {
      const FdGuard client(connect_front_end());
      send_whole(client.get(), request);
      answer = reply_to(client.get());
    });
    leave();
    if (answer != "300: 1") throw std::runtime_error("no login: " + answer);
    return taken;
  }

  Program portal;

 private:
  static std::string address_text(std::uint32_t visitor) {
    return ip_text(htonl(0x7f010000 + visitor));
  }

  // So that nobody is online before the next login.
  void leave() {
    CutIpMessage cut{.command = CTL_CUT_IP, .unused1{}, .ip{}, .unused2{}};
    address_text(visitor_).copy(cut.ip, sizeof cut.ip);
    control(bytes_of(cut));
    (void)effects();
  }

  std::uint32_t visitor_ = 1'000;
};

void print_figure(const char* name, double value, double goal, const char* unit) {
  std::printf("%-26s %.1f %s, goal <= %.0f %s%s\n", name, value, unit, goal, unit,
              value <= goal ? "" : ", missed");
}

void print_flood(PortalStage& stage, std::int64_t rest) {
  std::deque<FdGuard> silent;
  for (std::uint32_t i = 0; i < SILENT; ++i) silent.emplace_back(connect_from(i % 50, PORTAL_PORT));
  double slowest = 0;
  for (int i = 0; i < 60; ++i) slowest = std::max(slowest, stage.log_in_by_page().wall);
  const auto memory = status_number(stage.portal.pid(), "VmRSS:");
  std::printf("\nThe portal process\n\n");
  print_figure("memory at rest", double(rest), MEMORY_GOAL_KB, "kB");
  print_figure("more, behind 1,000 silent", double(memory - rest), GROWTH_GOAL_KB, "kB");
  print_figure("slowest login of 60 there", slowest * 1e3, SLOWEST_GOAL * 1e3, "ms");
}

}  // namespace

void measure_portal(Table& table) {
  PortalStage stage;
  const std::string page = ask(1, PORTAL_PORT, GET);
  const auto rest = status_number(stage.portal.pid(), "VmRSS:");
  const BareLoop bare(page);
  measure_in_turns(
      table, {"a page of the portal", 0, 2.0}, ITERATIONS, [&] { return stage.page(PORTAL_PORT); },
      [&] { return stage.page(BARE_PORT); });
  measure_in_turns(
      table, {"login through the portal", 0, 1.5}, ITERATIONS / 4,
      [&] { return stage.log_in_by_page(); }, [&] { return stage.log_in_at_daemon(); });
  print_flood(stage, rest);
}

}  // namespace webauth
