// A long mixed load on the real daemon: its published list is always that of the visitors whom the
// kernel side was told to let through, memory and descriptors stay flat, and whoever reads the list
// while daemons are killed and started finds it whole. Ends with status 0 when all that held. Run
// through scripts/sandbox.
#include <arpa/inet.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "common/address_text.h"
#include "common/clock.h"
#include "common/fd_guard.h"
#include "daemon/control/control_message.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/login/account_file.h"
#include "daemon/users/published_line.h"
#include "tests/support/world.h"

namespace webauth {
namespace {

constexpr std::int64_t MEMORY_BOUND = 512;  // kB that it may grow by

struct Visitor {
  std::string user, ip, mac;
};
using Visitors = std::vector<Visitor>;

void demand(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

std::string listed(const Visitors& visitors) {
  std::string text;
  for (const auto& [user, ip, mac] : visitors) text += user + " " + ip + " " + mac + "\n";
  return text;
}

// The list without times and modes. Throws when it is torn.
std::string read_list() {
  std::istringstream file(read_file(REGISTRATION_FILE));
  Visitors visitors;
  for (std::string line; std::getline(file, line);) {
    const auto parts = read_published_line(line);
    demand(line == "(none)" || (parts && !file.eof()), "a torn list: " + line);
    if (parts)
      visitors.push_back(
          {std::string(parts->user), std::string(parts->ip), std::string(parts->mac)});
  }
  return listed(visitors);
}

class Soak : World {
 public:
  Soak(const std::string& mode, bool multi_user)
      : has_accounts_(mode == "USERS"),
        replaces_(has_accounts_ && !multi_user),
        settings_("WEBAUTH_SECTYPE=" + mode + (multi_user ? "\nWEBAUTH_MULTIUSER=YES" : "")) {}

  void load(int seconds) {
    begin();
    const std::int64_t from = steady_microseconds(), length = seconds * std::int64_t{1'000'000};
    std::int64_t memory = 0, descriptors = 0;
    for (; steady_microseconds() < from + length; ++events_) {
      do_event();
      if (memory != 0 || steady_microseconds() < from + length / 4) continue;
      memory = status_number(daemon.pid(), "VmRSS:");
      descriptors = open_descriptors(daemon.pid());
    }
    memory = status_number(daemon.pid(), "VmRSS:") - memory;
    std::printf("%d events, %d lists compared, memory grown by %d kB\n", events_, lists_,
                static_cast<int>(memory));
    demand(memory <= MEMORY_BOUND, "the daemon's memory grows");
    // One of them may be the connection to the system log, which is open or not.
    demand(std::abs(open_descriptors(daemon.pid()) - descriptors) <= 1, "descriptors leak");
    end_daemon();
  }

  void kill_under_a_reader(int kills) {
    std::atomic<bool> stop = false;
    std::string torn;
    std::thread reader([&] {
      try {
        while (!stop) (void)read_list();
      } catch (const std::exception& error) {
        torn = error.what();
      }
    });
    for (int i = 0; i < kills; ++i) {
      begin();
      for (auto left = pick(100); left > 0; --left) do_event();
      const std::string before = listed(visitors_);
      const Visitor visitor = new_visitor();
      const FdGuard client(connect_front_end());
      send_whole(client.get(), login_request(visitor.ip, visitor.mac, visitor.user));
      usleep(static_cast<useconds_t>(pick(400)));
      daemon.kill_it();
      admit(visitor);
      const std::string list = read_list();
      demand(list == before || list == listed(visitors_), "a list of no moment:\n" + list);
    }
    stop = true;
    reader.join();
    demand(torn.empty(), torn);
    std::printf("%d daemons killed\n", kills);
  }

 private:
  void begin() {
    std::string accounts;
    accounts_.clear(), visitors_.clear();
    for (int i = 0; i < 100; ++i) accounts_.insert("u" + std::to_string(i));
    for (const std::string& name : accounts_) accounts += name + " x x *\n";
    write_file(ACCOUNT_FILE, accounts);
    start(settings_);
    effects();
  }

  void do_event() {
    const Visitor visitor = new_visitor();
    const Visitor known = visitors_.empty() ? visitor : visitors_[pick(visitors_.size())];
    const auto choice = pick(visitors_.size() > 300 ? 60 : 100);
    if (choice < 20) return report(ENTRY_OFFLINE, known.ip);
    if (choice < 30) return report(choice % 2, "11.0.0." + std::to_string(pick(9)));
    if (choice < 32) return report(5, known.ip);
    if (choice < 48) return command(CTL_CUT_IP, 68, choice < 46 ? known.ip : visitor.ip);
    if (choice < 54) return command(CTL_DELETE_ACCOUNT, 4, has_accounts_ ? known.user : "nobody");
    if (choice < 59) return command(CTL_ADD_ACCOUNT, 4, visitor.user);
    if (choice < 60) return command(9, 4, known.ip);
    log_in(choice < 68 ? Visitor{visitor.user, known.ip, visitor.mac} : visitor);
  }

  void log_in(const Visitor& visitor) {
    const auto known = find(visitor.ip);
    const bool is_new = known == visitors_.end();
    const bool admitted = is_new && (!has_accounts_ || accounts_.contains(visitor.user));
    const bool answered = login(visitor.ip, visitor.mac, visitor.user) == "300: 1";
    demand(answered == (is_new ? admitted : has_accounts_), "a wrong reply to " + visitor.ip);
    if (!is_new && !has_accounts_) known->mac = visitor.mac;
    compare(visitor, admitted);
  }

  void report(std::uint32_t event, const std::string& ip) {
    KernelMessage message{};
    message.command = event;
    message.kind = ENTRY_IP;
    message.ip = inet_addr(ip.c_str());
    kernel_event(bytes_of(message));
    if (event == ENTRY_OFFLINE) erase(ip);
    compare({}, event == ENTRY_OFFLINE);
  }

  void command(std::uint32_t number, std::size_t offset, const std::string& text) {
    std::string bytes(300, '\0');
    bytes.replace(0, 4, bytes_of(number)).replace(offset, text.size(), text).replace(84, 1, "*");
    const auto account = accounts_.find(text);
    if (number == CTL_ADD_ACCOUNT) accounts_.insert(text);
    if (number == CTL_DELETE_ACCOUNT && account != accounts_.end()) accounts_.erase(account);
    const bool cut = number == CTL_CUT_IP && find(text) != visitors_.end();
    control(bytes);
    compare({}, cut || number == CTL_DELETE_ACCOUNT);
  }

  // Of whom the kernel side was told, and whom it has not reported since, the list speaks.
  void compare(const Visitor& visitor, bool must_be_written) {
    for (const std::string& message : effects("kernel")) {
      std::istringstream words(message);
      std::uint32_t number = 0, address = 0;
      words >> std::hex >> number >> address;
      number == ADD_ENTRY ? visitors_.push_back(visitor) : erase(ip_text(address));
    }
    struct stat file {};
    const bool written = stat(REGISTRATION_FILE, &file) == 0 && file.st_ino != list_file_;
    demand(written == must_be_written, written ? "a list unasked" : "no list");
    if (!written) return;
    list_file_ = file.st_ino, ++lists_;
    const std::string list = read_list(), expected = listed(visitors_);
    demand(list == expected, "the list is\n" + list + "instead of\n" + expected);
  }

  // What a login does of which nobody has seen how far it came.
  void admit(const Visitor& visitor) {
    if (has_accounts_ && !accounts_.contains(visitor.user)) return;
    if (replaces_)
      std::erase_if(visitors_, [&](auto& other) { return other.user == visitor.user; });
    visitors_.push_back(visitor);
  }

  Visitors::iterator find(const std::string& ip) {
    return std::find_if(visitors_.begin(), visitors_.end(), [&](auto& v) { return v.ip == ip; });
  }

  void erase(const std::string& ip) {
    if (const auto visitor = find(ip); visitor != visitors_.end()) visitors_.erase(visitor);
  }

  Visitor new_visitor() {
    const std::string number = std::to_string(++addresses_);
    return {has_accounts_ ? "u" + std::to_string(pick(105)) : "",
            ip_text(htonl(0x0a000000U + addresses_)), "m" + number};
  }

  std::size_t pick(std::size_t count) { return random_() % count; }

  const bool has_accounts_, replaces_;
  const std::string settings_;
  std::mt19937 random_{1};
  std::multiset<std::string> accounts_;
  Visitors visitors_;
  std::uint32_t addresses_ = 0;
  ino_t list_file_ = 0;
  int lists_ = 0, events_ = 0;
};

}  // namespace
}  // namespace webauth

int main(int argc, char** argv) {
  std::string mode = "USERS";
  bool multi_user = false;
  int seconds = 10, kills = 20;
  CLI::App app("Loads the daemon, then kills it under a reader of its list.");
  app.add_option("--mode", mode)->check(CLI::IsMember({"LOCAL", "USERS"}));
  app.add_flag("--multi-user", multi_user, "several logins per account");
  app.add_option("--seconds", seconds, "how long the load lasts");
  app.add_option("--kills", kills, "how many daemons then die");
  CLI11_PARSE(app, argc, argv);
  try {
    webauth::Soak soak(mode, multi_user);
    soak.load(seconds);
    soak.kill_under_a_reader(kills);
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "webauth-soak: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
