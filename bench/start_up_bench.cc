#include "bench/start_up_bench.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "bench/reader.h"
#include "daemon/kernel/access_policy.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/account_file.h"
#include "tests/support/neighbours.h"

namespace webauth {
namespace {

constexpr int ACCOUNTS = 100'000;

std::string account_name(int number) { return "visitor" + std::to_string(number); }

// Every kind of limit, with and without a note.
std::string account_lines() {
  constexpr const char* TAILS[] = {"* *", "8 office", "2037-12-31. *", "* guest"};
  std::string text;
  for (int i = 0; i < ACCOUNTS; ++i) {
    text.append(account_name(i)).append(" secret x ").append(TAILS[i % 4]).append("\n");
  }
  return text;
}

std::vector<std::string> account_records() {
  std::vector<std::string> records;
  records.reserve(ACCOUNTS);
  for (int i = 0; i < ACCOUNTS; ++i) {
    records.push_back("R1 0 K5 syslog.webauth_userti syslog.webauth_user " + account_name(i));
  }
  return records;
}

void send_datagrams(std::uint32_t count) {
  KernelMessage message;
  init_kernel_message(message, ADD_ENTRY);
  for (std::uint32_t i = 0; i < count; ++i) send_whole(netlink_fd, bytes_of(message));
}

void read_and_log(const char* path, const std::vector<std::string>& records) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  char block[4096];
  while (read(file, block, sizeof block) > 0) {
  }
  close(file);
  for (const std::string& record : records) {
    openlog("user", LOG_NDELAY, LOG_LOCAL0);
    syslog(LOG_NOTICE, "%s", record.c_str());
    closelog();
  }
}

}  // namespace

void measure_ip_range(Table& table) {
  const Reader kernel_side(open_kernel_side());
  netlink_fd = open_netlink_socket();
  require(netlink_fd >= 0, "the daemon's netlink socket");
  write_file(IP_LIST_FILE, "10.0.0.0-10.15.255.255\n");
  const Row row{"IP range of 1048576", 0, 1.3, "  sender's processor time"};
  const auto daemon = [] {
    int sent = 0;
    const Seconds seconds = seconds_of([&] { sent = load_ip_list(IP_LIST_FILE); });
    require(sent == LONGEST_RANGE, "IP range");
    return seconds;
  };
  const auto floor = [] { return seconds_of([] { send_datagrams(LONGEST_RANGE); }); };
  measure_in_turns(table, row, 1, daemon, floor);
  close(netlink_fd);
}

void measure_accounts(Table& table) {
  const Reader log_sink(open_log_sink());
  write_file(ACCOUNT_FILE, account_lines());
  const std::vector<std::string> records = account_records();
  const Row row{"100000 accounts", 0, 3.0};
  const auto daemon = [] {
    AccountTable accounts;
    int added = 0;
    const Seconds seconds = seconds_of([&] { added = load_accounts(ACCOUNT_FILE, accounts); });
    require(added == ACCOUNTS, "accounts");
    return seconds;
  };
  const auto floor = [&] { return seconds_of([&] { read_and_log(ACCOUNT_FILE, records); }); };
  measure_in_turns(table, row, 1, daemon, floor);
}

}  // namespace webauth
