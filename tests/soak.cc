// A long mixed load on the real daemon: its published list is always that of the visitors whom the
// kernel side was told to let through, memory and descriptors stay flat, and whoever reads the list
// while daemons are killed and started finds it whole. Ends with status 0 when all that held. Run
// through scripts/sandbox.
#include <arpa/inet.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstdio>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "common/address_text.h"
#include "common/clock.h"
#include "daemon/control/control_message.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/login/account_file.h"
#include "daemon/users/published_line.h"
#include "tests/support/world.h"

namespace webauth {
namespace {

#ifdef WEBAUTHD_SANITIZED
constexpr std::int64_t MEMORY_BOUND = 1 << 20;  // kB that it may grow by
#else
constexpr std::int64_t MEMORY_BOUND = 512;
#endif

struct Visitor {
  std::string user, ip, mac;
};

void demand(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

// The list without times and modes. Throws when it is torn.
std::string read_list() {
  std::istringstream file(read_file(REGISTRATION_FILE));
  std::string list;
  for (std::string line; std::getline(file, line) && line != "(none)";) {
    const auto parts = read_published_line(line);
    demand(parts && !file.eof(), "a torn list: " + line);
    list.append(line.c_str(), parts->mac.data() + parts->mac.size()).append("\n");
  }
  return list;
}

class Soak : World {
 public:
  Soak(const std::string& mode, bool multi_user)
      : has_accounts_(mode == "USERS"),
        settings_("WEBAUTH_SECTYPE=" + mode + (multi_user ? "\nWEBAUTH_MULTIUSER=YES" : "")) {}

  void load(int seconds) {
    begin();
    const std::int64_t from = steady_microseconds(), length = seconds * std::int64_t{1'000'000};
    std::int64_t memory = 0, descriptors = 0;
    int events = 0;
    for (; steady_microseconds() < from + length; ++events) {
      do_event();
      const std::string list = read_list(), expected = listed();
      demand(list == expected, "the list is\n" + list + "instead of\n" + expected);
      if (memory != 0 || steady_microseconds() < from + length / 4) continue;
      memory = status_number(daemon.pid(), "VmRSS:");
      descriptors = open_descriptors(daemon.pid());
    }
    memory = status_number(daemon.pid(), "VmRSS:") - memory;
    std::printf("%d events, memory grown by %d kB\n", events, static_cast<int>(memory));
    demand(memory <= MEMORY_BOUND, "the daemon's memory grows");
    // One of them may be the connection to the system log, which is open or not.
    demand(std::abs(open_descriptors(daemon.pid()) - descriptors) <= 1, "descriptors leak");
    end_daemon();
  }

  void kill_under_a_reader(int kills) {
    std::atomic<bool> stop = false, somebody = false;  // is online whatever happens next
    std::string torn;
    std::thread reader([&] {
      try {
        while (!stop) {
          const bool before = somebody;
          const bool is_empty = read_list().empty();
          demand(!is_empty || !before || !somebody, "a list without anybody");
        }
      } catch (const std::exception& error) {
        torn = error.what();
      }
    });
    for (int i = 0; i < kills; ++i) {
      somebody = false;
      begin();
      for (; visitors_.size() < 20; somebody = visitors_.size() > 9) do_event();
      const std::string before = listed(), ip = visitors_[pick(20)].ip;
      command(CTL_CUT_IP, 68, ip);
      usleep(static_cast<useconds_t>(pick(400)));
      daemon.kill_it();
      erase(ip);
      const std::string list = read_list();
      demand(list == before || list == listed(), "a list of no moment:\n" + list);
    }
    stop = true;
    reader.join();
    demand(torn.empty(), torn);
    std::printf("%d daemons killed\n", kills);
  }

 private:
  void begin() {
    std::string accounts;
    for (int i = 0; i < 100; ++i) accounts += "u" + std::to_string(i) + " x x *\n";
    write_file(ACCOUNT_FILE, accounts);
    visitors_.clear();
    start(settings_);
    effects();
  }

  void do_event() {
    const auto choice = pick(visitors_.size() > 300 ? 60 : 100);
    const bool known = choice < 60 && !visitors_.empty();
    const Visitor visitor = known ? visitors_[pick(visitors_.size())] : new_visitor();
    if (choice < 10) {
      report(ENTRY_OFFLINE, visitor.ip);
      erase(visitor.ip);
    } else if (choice < 30) {
      report(choice % 2, "11.0.0." + std::to_string(pick(9)));  // nobody whom the list shows
    } else if (choice < 40) {
      report(CHECK_EXPIRY, visitor.ip);
    } else if (choice < 45) {
      command(CTL_CUT_IP, 68, visitor.ip);
    } else if (choice < 50) {
      command(CTL_DELETE_ACCOUNT, 4, has_accounts_ ? visitor.user : "u0");
    } else if (choice < 55) {
      command(CTL_ADD_ACCOUNT, 4, "u" + std::to_string(has_accounts_ ? pick(105) : 0));
    } else {
      login(visitor.ip, visitor.mac, visitor.user);
    }
    for (const std::string& message : effects("kernel")) {
      std::istringstream words(message);
      std::uint32_t number = 0, address = 0;
      words >> std::hex >> number >> address;
      number == ADD_ENTRY ? visitors_.push_back(visitor) : erase(ip_text(address));
    }
  }

  void report(std::uint32_t event, const std::string& ip) const {
    KernelMessage message{};
    message.command = event;
    message.kind = ENTRY_IP;
    message.ip = inet_addr(ip.c_str());
    kernel_event(bytes_of(message));
  }

  void command(std::uint32_t number, std::size_t offset, const std::string& text) const {
    std::string bytes(300, '\0');
    bytes.replace(0, 4, bytes_of(number)).replace(offset, text.size(), text).replace(84, 1, "*");
    control(bytes);
  }

  [[nodiscard]] std::string listed() const {
    std::string text;
    for (const auto& [user, ip, mac] : visitors_) text += user + " " + ip + " " + mac + "\n";
    return text;
  }

  void erase(const std::string& ip) {
    std::erase_if(visitors_, [&](const Visitor& visitor) { return visitor.ip == ip; });
  }

  Visitor new_visitor() {
    ++addresses_;
    return {has_accounts_ ? "u" + std::to_string(pick(105)) : "",
            ip_text(htonl(0x0a000000U + addresses_)), "m" + std::to_string(addresses_)};
  }

  std::size_t pick(std::size_t count) { return random_() % count; }

  const bool has_accounts_;
  const std::string settings_;
  std::mt19937 random_{1};
  std::vector<Visitor> visitors_;  // of whom the kernel side was told, in this order
  std::uint32_t addresses_ = 0;
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
