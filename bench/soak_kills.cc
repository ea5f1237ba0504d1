#include <unistd.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

#include "bench/neighbours.h"
#include "bench/soak_compare.h"
#include "bench/soak_run.h"

namespace webauth {
namespace {

// A reader of the published list, at work while daemons write it, are killed and start.
class PollingReader {
 public:
  explicit PollingReader(char mode) : mode_(mode), thread_([this] { poll(); }) {}
  ~PollingReader() { stop(); }
  PollingReader(const PollingReader&) = delete;
  PollingReader& operator=(const PollingReader&) = delete;

  /// What may stand in the list from now on.
  void expect(const List& list) {
    if (!list) return;
    const std::lock_guard lock(mutex_);
    for (const ListLine& line : *list) known_.insert(line.client);
  }

  long polls() const { return polls_; }

  /// What was wrong with a list, or the empty text.
  std::string stop() {
    stopped_ = true;
    if (thread_.joinable()) thread_.join();
    return torn_;
  }

 private:
  void poll() {
    while (!stopped_ && torn_.empty()) {
      if (const auto list = read_list()) {
        if (!is_whole(*list)) torn_ = "a torn list: " + printable(*list) + "\n";
        ++polls_;
      }
      usleep(50);
    }
  }

  bool is_whole(std::string_view list) {
    const std::lock_guard lock(mutex_);
    while (!list.empty()) {
      const std::size_t end = list.find('\n');
      if (end == std::string_view::npos || !is_line(list.substr(0, end))) return false;
      list.remove_prefix(end + 1);
    }
    return true;
  }

  // "<client> <time> <mode> ", read from its right end.
  bool is_line(std::string_view line) const {
    const char tail[] = {' ', mode_, ' '};
    if (!line.ends_with(std::string_view(tail, sizeof tail))) return false;
    line.remove_suffix(sizeof tail);
    const std::size_t time = line.rfind(' ') + 1;
    const std::int64_t age = now_second() - std::atoll(std::string(line.substr(time)).c_str());
    const bool is_number = line.find_first_not_of("0123456789", time) == std::string_view::npos;
    return is_number && age >= 0 && age < 3600 &&
           known_.contains(std::string(line.substr(0, time)));
  }

  const char mode_;
  std::mutex mutex_;
  std::set<std::string> known_;
  std::atomic<bool> stopped_ = false;
  std::atomic<long> polls_ = 0;
  std::string torn_;  // the thread's until it has ended
  std::thread thread_;
};

// What the batch makes of the model, step by step.
std::vector<Model> foresee(const Soak& soak, const std::vector<Event>& batch, Effects& effects) {
  std::vector<Model> states = {soak.model};
  for (const Event& event : batch) {
    states.push_back(states.back());
    // The batch is over within a second or two, killed or not.
    apply(states.back(), event, {now_second(), now_second() + 2}, effects);
  }
  return states;
}

// Kills the daemon in the middle of a batch: the list is one of those on the way.
bool kill_in_batch(Soak& soak, PollingReader& reader, char mode) {
  avoid_midnight();
  const std::vector<Event> batch = next_batch(soak.generator, soak.model);
  Effects expected;
  Observed observed;
  const std::vector<Model> states = foresee(soak, batch, expected);
  for (const Model& state : states) reader.expect(state.list);
  const std::vector<int> connections = send_batch(soak.daemon, batch);
  usleep(static_cast<useconds_t>(below(soak.generator, 400)));
  kill_daemon(soak.daemon, observed);
  for (const int fd : connections) close(fd);
  soak.tally.difference = find_difference(batch, expected, observed, true);
  if (!soak.tally.difference.empty()) return false;
  const auto list = read_list();
  for (const Model& state : states) {
    soak.tally.difference = find_list_difference(state.list, mode, list);
    if (soak.tally.difference.empty()) {
      soak.model.list = state.list;
      return true;
    }
  }
  return false;
}

// Kills a daemon that is about to start: the list is the old one, or there is none.
bool kill_in_start(Soak& soak, char mode) {
  Observed observed;
  launch(soak.daemon);
  usleep(static_cast<useconds_t>(below(soak.generator, 4000)));
  kill_daemon(soak.daemon, observed);
  const auto list = read_list();
  if (list) soak.tally.difference = find_list_difference(soak.model.list, mode, list);
  return soak.tally.difference.empty();
}

bool live_and_kill(Soak& soak, PollingReader& reader, char mode) {
  if (!kill_in_start(soak, mode) || !start_daemon(soak)) return false;
  for (std::size_t left = below(soak.generator, 200); left > 0; --left) {
    const std::vector<Event> batch = next_batch(soak.generator, soak.model);
    Effects ignored;
    for (const Model& state : foresee(soak, batch, ignored)) reader.expect(state.list);
    if (!do_batch(soak, batch)) return false;
  }
  return kill_in_batch(soak, reader, mode);
}

}  // namespace

void run_kills(Soak& soak) {
  const char mode = soak.options.mode == "USERS" ? '3' : '0';
  soak.generator.garbage = false;  // its names may hold newlines
  soak.model.list = std::nullopt;
  unlink("/tmp/web_user_reg_file");
  if (soak.daemon.kernel_fd < 0) soak.daemon.kernel_fd = open_kernel_side(0);
  PollingReader reader(mode);
  while (soak.tally.kills < soak.options.kills && live_and_kill(soak, reader, mode)) {
    soak.tally.kills += 2;  // one while it started
  }
  const std::string torn = reader.stop();
  soak.tally.polls = reader.polls();
  if (soak.tally.difference.empty()) soak.tally.difference = torn;
}

}  // namespace webauth
