#include "bench/start_up_bench.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "bench/neighbours.h"
#include "common/file.h"
#include "daemon/kernel/access_policy.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/account_file.h"

namespace webauth {
namespace {

constexpr int ACCOUNTS = 100'000;

void write_file(const char* path, const std::string& text) {
  const File file(std::fopen(path, "we"));
  require(file != nullptr, path);
  require(std::fwrite(text.data(), 1, text.size(), file.get()) == text.size(), path);
}

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
  for (std::uint32_t i = 0; i < count; ++i) {
    require(send(netlink_fd, &message, sizeof message, 0) == sizeof message, "netlink send");
  }
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

Row measure_ip_range(const char* name, int repetitions, double (*clock)()) {
  Row row{.operation = name, .goal = 1.3};
  const auto daemon = [&] {
    int sent = 0;
    const double seconds = seconds_of([&] { sent = load_ip_list(IP_LIST_FILE); }, clock);
    return sent == LONGEST_RANGE ? seconds : -1.0;
  };
  const auto floor = [&] { return seconds_of([] { send_datagrams(LONGEST_RANGE); }, clock); };
  measure_in_turns(row, {repetitions, 1}, daemon, floor);
  return row;
}

}  // namespace

void measure_ip_range(std::vector<Row>& rows, int repetitions) {
  const Reader kernel_side([] { return open_kernel_side(0); });
  netlink_fd = open_netlink_socket();
  require(netlink_fd >= 0, "the daemon's netlink socket");
  write_file(IP_LIST_FILE, "10.0.0.0-10.15.255.255\n");
  rows.push_back(measure_ip_range("IP range of 1048576", repetitions, wall_seconds));
  rows.push_back(measure_ip_range("  sender's processor time", repetitions, processor_seconds));
  close(netlink_fd);
}

void measure_accounts(std::vector<Row>& rows, int repetitions) {
  Row row{.operation = "100000 accounts", .goal = 3.0};
  const Reader log_sink(open_log_sink);
  mkdir("/disk", 0755);
  mkdir("/disk/conf", 0755);
  write_file(ACCOUNT_FILE, account_lines());
  const std::vector<std::string> records = account_records();
  const auto daemon = [] {
    AccountTable accounts;
    int added = 0;
    const double seconds = seconds_of([&] { added = load_accounts(ACCOUNT_FILE, accounts); });
    return added == ACCOUNTS ? seconds : -1.0;
  };
  const auto floor = [&] { return seconds_of([&] { read_and_log(ACCOUNT_FILE, records); }); };
  measure_in_turns(row, {repetitions, 1}, daemon, floor);
  rows.push_back(row);
}

}  // namespace webauth
