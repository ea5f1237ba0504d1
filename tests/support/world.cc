#include "tests/support/world.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "common/fd_guard.h"
#include "common/unix_address.h"
#include "daemon/control/control_message.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/platform/settings_store.h"

namespace webauth {
namespace {

// How record_text of every KernelMessage of the daemon begins.
constexpr std::string_view KERNEL_MESSAGE_BEGIN = "360: 178 0 0 pid 168 ";
const std::string FILLER(360, 'f');  // as long as a KernelMessage

// What a syslog datagram is, as effects() says it.
std::string log_effect(std::string_view datagram) {
  const std::size_t end = datagram.find(": ");  // of "<133>Jan  1 00:00:00 user"
  const std::string_view header = datagram.substr(0, end);
  std::string text(datagram.substr(std::min(end + 2, datagram.size())));
  while (!text.empty() && (text.back() == '\n' || text.back() == '\0')) text.pop_back();
  constexpr std::string_view EVENT = "R1 0 K5 ", LINE = "@#@ log_info n ";
  if (text.starts_with(EVENT) && header.starts_with("<133>") && header.ends_with(" user")) {
    return "event " + text.substr(EVENT.size());
  }
  const bool emergency = (std::atoi(std::string(header.substr(1)).c_str()) & 7) == 0;
  if (text.starts_with(LINE) && emergency) return "line " + text.substr(LINE.size());
  return "log " + std::string(datagram);
}

}  // namespace

World::World()
    : log_filler_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      kernel_filler_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK)) {
  enter_sandbox();
  reset();
}

World::~World() {
  for (const int fd : {log_fd_, log_filler_, kernel_filler_}) close(fd);
  close_kernel_side();
}

void World::reset() {
  end_daemon();
  for (const char* directory : {"/tmp", "/disk/conf", "/var/http", "/etc/webauthd"}) {
    std::filesystem::create_directories(directory);
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      // The project itself may lie in here.
      if (!std::string_view(__FILE__).starts_with(entry.path().string() + "/")) {
        std::filesystem::remove_all(entry);
      }
    }
  }
  for (const char* file : {"/etc/qvip.cfg", "/etc/weixin_dns_file.conf"}) unlink(file);
  open_kernel_side();
  effects_.clear();
}

void World::open_kernel_side() {
  close_kernel_side();
  kernel_fd_ = webauth::open_kernel_side();
}

void World::close_kernel_side() {
  if (kernel_fd_ >= 0) close(kernel_fd_);
  kernel_fd_ = -1;
}

void World::launch(const std::string& text) {
  end_daemon();
  started_ = std::time(nullptr);
  if (in_steps_) fill_queues();
  daemon.launch(text);
  port_ = daemon.pid();
}

void World::start(const std::string& settings) {
  write_file(DEFAULT_SETTINGS_FILE, settings);
  launch();
  settle();
}

void World::settle() {
  const bool runs = daemon.pid() > 0;
  const bool serves = runs && daemon.wait_until(Sleep::SELECT, [this] { go_on(); });
  while (receive(true) || receive(false)) {
  }
  look();
  for (const char* place : {"log", "kernel"}) {
    if (std::count(effects_.begin(), effects_.end(), place) == 0) continue;
    throw std::runtime_error("a log record or kernel message has been lost");
  }
  if (runs && !serves) note("exit status " + std::to_string(daemon.status()));
  if (serves && in_steps_) fill_queues();
}

void World::end_daemon() {
  settle();
  if (daemon.pid() > 0) {
    close_kernel_side();
    AllowMacMessage allow{.command = CTL_ALLOW_MAC, .unused1{}, .mac = "1:2:3:4:5:6", .unused2{}};
    control(bytes_of(allow));
    (void)daemon.wait_until(Sleep::DEAD, [this] { go_on(); });
    if (daemon.status() != 1) throw std::runtime_error("the daemon does not end with status 1");
    open_kernel_side();
  }
  const std::string text = daemon.output();
  if (!text.empty()) throw std::runtime_error("the daemon said: " + text);
}

void World::fill_queues() const {
  const auto fill = [](int fd, const auto& address) {
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    while (sendto(fd, FILLER.data(), FILLER.size(), MSG_DONTWAIT, name, sizeof address) > 0) {
    }
  };
  fill(log_filler_, unix_address("/dev/log"));
  if (kernel_fd_ >= 0) fill(kernel_filler_, netlink_address(GATE_PORT));
}

// While the daemon is busy: empties the queues, or makes room where it waits for some.
void World::go_on() {
  const Sleep call = in_steps_ ? sleep_of(daemon.pid()) : Sleep::AWAKE;
  while (!in_steps_ && (receive(true) || receive(false))) {
  }
  if (call != Sleep::SEND && call != Sleep::SENDMSG) return;
  look();
  note(call == Sleep::SEND ? "log" : "kernel");  // receive() puts its text there
  receive(call == Sleep::SEND);
}

// Takes one datagram; it belongs to the first place that is kept for one of its kind.
bool World::receive(bool log) {
  std::string bytes;
  if (!receive_now(log ? log_fd_ : kernel_fd_, bytes)) return false;
  if (bytes == FILLER) return true;
  std::string text = record_text(bytes, port_);
  if (text.starts_with(KERNEL_MESSAGE_BEGIN)) text.erase(0, KERNEL_MESSAGE_BEGIN.size());
  const auto place = std::find(effects_.begin(), effects_.end(), log ? "log" : "kernel");
  *(place != effects_.end() ? place : effects_.emplace(place)) =
      log ? log_effect(bytes) : "kernel " + text;
  return true;
}

Lines World::effects(const std::string& first) {
  settle();
  Lines taken;
  for (const std::string& effect : std::exchange(effects_, {})) {
    if (first.empty()) taken.push_back(effect);
    if (!first.empty() && effect.starts_with(first + " ")) {
      taken.push_back(effect.substr(first.size() + 1));
    }
  }
  return taken;
}

std::string World::login(std::string_view ip, std::string_view mac, std::string_view user,
                         std::string_view password) {
  const FdGuard client(connect_front_end());
  send_whole(client.get(), login_request(ip, mac, user, password));
  settle();
  return reply_to(client.get());
}

void World::control(std::string_view datagram) const {
  const FdGuard client(connect_control());
  send_whole(client.get(), datagram);
}

void World::kernel_event(std::string_view datagram) const {
  const sockaddr_nl address = netlink_address(static_cast<std::uint32_t>(port_));
  const auto* name = reinterpret_cast<const sockaddr*>(&address);
  const int flags = MSG_DONTWAIT;  // a daemon whose queue is full has lost it
  const auto size =
      sendto(kernel_fd_, datagram.data(), datagram.size(), flags, name, sizeof address);
  require(size > 0, "kernel event");
}

}  // namespace webauth
