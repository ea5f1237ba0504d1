#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "bench/soak_compare.h"
#include "bench/soak_run.h"
#include "daemon/login/login_record.h"

namespace webauth {
namespace {

constexpr std::int64_t DAY = 24 * 3600;
constexpr std::int64_t SECONDS_TO_MIDNIGHT = 5;
constexpr std::int64_t NEAR_MIDNIGHT = 2;
constexpr char SETTINGS_FILE[] = "/tmp/webauth-soak.settings";
constexpr char ACCOUNTS_FILE[] = "/disk/conf/qvuser.cfg";
constexpr char GROUP_PATH[] = "/tmp/emailgroupip.cfg";

double steady_seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string describe(const std::vector<Event>& batch) {
  std::string text;
  for (const Event& event : batch) {
    text += std::string("in ") + name_of(event.kind) + " " + printable(event.bytes) + "\n";
  }
  return text;
}

void count(Tally& tally, const std::vector<Event>& batch, const Effects& effects) {
  for (const Event& event : batch) ++tally.events[static_cast<std::size_t>(event.kind)];
  for (const std::string& reply : effects.replies) {
    if (reply.empty()) {
      ++tally.unanswered;
    } else {
      ++(reply.front() == LOGIN_ACCEPTED ? tally.accepted : tally.exhausted);
    }
  }
  tally.messages += static_cast<long>(effects.messages.size());
  tally.log_lines += static_cast<long>(effects.log.size());
  ++tally.lists;
}

bool judge(Soak& soak, const std::vector<Event>& batch, const Effects& expected,
           const Observed& observed) {
  soak.tally.difference = find_difference(batch, expected, observed);
  if (soak.tally.difference.empty()) {
    const char mode = soak.model.accounts_mode ? '3' : '0';
    soak.tally.difference = find_list_difference(soak.model.list, mode, read_list());
  }
  if (soak.tally.difference.empty()) return true;
  soak.tally.difference += describe(batch);
  return false;
}

void finish_load(Soak& soak) {
  Tally& tally = soak.tally;
  Observed nothing;
  settle(soak.daemon, nothing);
  tally.memory_after = resident_kilobytes(soak.daemon);
  tally.descriptors_after = count_descriptors(soak.daemon);
  struct stat group {};
  const bool is_there = stat(GROUP_PATH, &group) == 0;
  if (is_there != soak.model.group_file || group.st_size != 0) {
    tally.difference = "the e-mail group file is not there or not empty";
  } else if (std::abs(tally.descriptors_after - tally.descriptors_before) > 1) {
    // One of them may be the connection to the system log, which is open or not.
    tally.difference = "the daemon does not close its descriptors";
  } else if (tally.memory_after > tally.memory_before + soak.options.memory_bound) {
    tally.difference = "the daemon's memory grows";
  } else if (end_daemon(soak.daemon) != EXIT_FAILURE) {
    tally.difference = "without its kernel side the daemon does not end with status 1";
  }
}

}  // namespace

std::int64_t now_second() { return std::time(nullptr); }

void set_clock_before_midnight() {
  const std::int64_t offset = DAY - SECONDS_TO_MIDNIGHT - now_second() % DAY;
  const std::int64_t east = (offset + DAY) % DAY;
  char zone[32];
  std::snprintf(zone, sizeof zone, "SOAK-%02d:%02d:%02d", static_cast<int>(east / 3600),
                static_cast<int>(east / 60 % 60), static_cast<int>(east % 60));
  setenv("TZ", zone, 1);
  tzset();
}

void avoid_midnight() {
  const std::int64_t now = now_second();
  if (local_date(now) == local_date(now + NEAR_MIDNIGHT)) return;
  while (local_date(now_second()) == local_date(now)) usleep(10'000);
}

void write_files(const SoakOptions& options) {
  setenv("WEBAUTHD_SETTINGS", SETTINGS_FILE, 1);
  std::ofstream(SETTINGS_FILE) << "WEBAUTH_SECTYPE=" << options.mode
                               << "\nWEBAUTH_MULTIUSER=" << (options.multi_user ? "YES" : "NO")
                               << "\n";
  std::ofstream accounts(ACCOUNTS_FILE);
  for (const std::string& line : make_account_lines()) accounts << line << "\n";
  std::filesystem::remove(GROUP_PATH);
}

bool start_daemon(Soak& soak) {
  Effects expected;
  Observed observed;
  soak.model = {};
  soak.model.accounts_mode = soak.options.mode == "USERS";
  soak.model.multi_user = soak.options.multi_user;
  launch(soak.daemon);
  soak.model.daemon = soak.daemon.pid;
  await_start(soak.daemon, observed);
  apply_start(soak.model, make_account_lines(), expected);
  return judge(soak, {}, expected, observed);
}

bool do_batch(Soak& soak, const std::vector<Event>& batch) {
  avoid_midnight();
  Effects expected;
  Observed observed;
  Span now;
  now.first = now_second();
  perform(soak.daemon, batch, observed);
  now.last = now_second();
  for (const Event& event : batch) apply(soak.model, event, now, expected);
  if (!judge(soak, batch, expected, observed)) return false;
  count(soak.tally, batch, expected);
  return true;
}

void run_load(Soak& soak) {
  if (!start_daemon(soak)) return;
  Tally& tally = soak.tally;
  const long warm_up = soak.options.events / 10;
  const double begin = steady_seconds();
  for (long done = 0; done < soak.options.events && tally.seconds < double(soak.options.seconds);) {
    const std::vector<Event> batch = next_batch(soak.generator, soak.model);
    if (!do_batch(soak, batch)) return;
    done += static_cast<long>(batch.size());
    tally.seconds = steady_seconds() - begin;
    if (tally.warm_up != 0 || done < warm_up) continue;
    tally.warm_up = done;
    tally.memory_before = resident_kilobytes(soak.daemon);
    tally.descriptors_before = count_descriptors(soak.daemon);
  }
  finish_load(soak);
}

}  // namespace webauth
