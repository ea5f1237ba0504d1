// Plays the transcripts of tests/scenarios. "> " begins a step, as take() has them, "$ " a command
// of the shell, to which $daemon and $gate are processes. Behind it stands what must then be seen,
// in the order of its causes: what the mail server heard, replies, the daemon's output, the
// published list when it is written, log records, messages to the kernel module, and what a tool
// printed; or which earlier step of its kind went the same way. "$" marks the end of a text. What
// begins with a word of "> hide" is not shown from there on.
// WRITE_SCENARIOS in the environment writes the files anew; read the difference.
#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "common/fd_guard.h"
#include "common/terminal_text.h"
#include "daemon/control/control_message.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/login_record.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/users/published_line.h"
#include "gate/gate_command.h"
#include "tests/support/mail_server.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

// What every start does, unless the transcript has set something.
const Lines DEFAULT_START = {"event syslog.webauth_enable ", "kernel 6", "kernel 7 708 1c20"};
constexpr char GATE_INPUT[] = "/tmp/gate.input";  // a pipe

// The lines that are not among the others, as a text.
std::string text_without(const Lines& lines, const Lines& others) {
  std::string text;
  for (const std::string& line : lines) {
    if (std::count(others.begin(), others.end(), line) == 0) text += line + "\n";
  }
  return text;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::string::npos;) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

class ScenarioTest : public WorldTest, public testing::WithParamInterface<fs::directory_entry> {
 protected:
  ScenarioTest() {
    setenv("TZ", "UTC0", 1);
    setenv("PATH", (TEST_FOLDER "support:" + std::string(std::getenv("PATH"))).c_str(), 1);
    watch_order();
  }

  // Does one step and returns what was seen then.
  std::string play(const std::string& step) {
    Lines words = words_of(step);
    words.resize(std::max<std::size_t>(words.size(), 6));
    take(words, step.substr(std::min(words[0].size() + 1, step.size())));
    if (stopped_) return "";
    settle();
    if (gate_.pid() > 0 && gate_.wait_until(Sleep::POLL, [this] { go_on(); })) settle();
    const auto port = "port " + std::to_string(daemon.pid());
    note_lines("", std::exchange(shell_said_, ""));  // the gate may have made the daemon do more
    gate_said_ += gate_.output();
    note_lines("gate ", replaced(std::exchange(gate_said_, ""), port, "port pid"));
    if (clients_.contains("")) {  // it has got all of its reply, but for the end
      const std::string end = reply_to(clients_.at("").get());
      if (!end.empty()) note("reply " + end);
      clients_.erase("");
    }
    Lines seen = effects();
    if (seen == DEFAULT_START) seen.clear();
    std::erase_if(seen, [this](const std::string& effect) {
      return std::count(hidden_.begin(), hidden_.end(), effect.substr(0, effect.find(' '))) > 0;
    });
    std::string text;
    for (const std::string& effect : seen) text += terminal_text(effect) + "$\n";
    if (seen.size() < 2) return text;
    const in_addr_t address = inet_addr(words[1].c_str());
    std::string form = replaced(text, record_text(bytes_of(address)).substr(2), "(number)");
    for (std::size_t i = 1; i < words.size(); ++i) {
      form = replaced(form, words[i], "(" + std::to_string(i) + ")");
    }
    const auto [earlier, is_new] = earlier_.try_emplace(words[0] + " " + form, step);
    return is_new ? text : "as > " + earlier->second + "\n";
  }

 private:
  void take(const Lines& words, const std::string& rest) {
    const std::string &verb = words[0], &name = words[1];
    if (verb == "$") {
      run_shell(rest);
    } else if (verb == "start") {
      launch(rest.empty() ? "exec webauthd" : rest);
    } else if (verb == "stop" || verb == "continue") {  // holds the daemon until all has been sent
      stopped_ = verb == "stop";
      daemon.send(stopped_ ? SIGSTOP : SIGCONT);
      waitpid(daemon.pid(), nullptr, WUNTRACED | WCONTINUED);
    } else if (verb == "login") {  // IP MAC USER PASSWORD TYPE
      std::string request = login_request(words[1], words[2], words[3], words[4]);
      if (!words[5].empty()) request.replace(0, 4, bytes_of(std::stoi(words[5], nullptr, 16)));
      send_whole(clients_.try_emplace("", connect_front_end()).first->second.get(), request);
    } else if (verb == "send") {  // NAME IP MAC SIZE, of a client that then keeps its connection
      const std::size_t size = words[4].empty() ? 300 : std::stoul(words[4]);
      if (!clients_.contains(name)) clients_.try_emplace(name, connect_front_end());
      send_whole(clients_.at(name).get(), login_request(words[2], words[3]).substr(0, size));
    } else if (verb == "leave") {
      clients_.erase(name);
    } else if (verb == "control") {  // COMMAND OFFSET TEXT OFFSET TEXT, cut behind the last
      std::string bytes(300, '\0');
      bytes[0] = static_cast<char>(std::stoi(words[1]));
      for (std::size_t i = 2; i < words.size() && !words[i].empty(); i += 2) {
        bytes.replace(std::stoul(words[i]), words[i + 1].size(), words[i + 1]);
      }
      control(std::string_view(bytes).substr(0, bytes.find_last_not_of('\0') + 1));
    } else if (verb == "mail") {  // a greeting and two answers, and "tls"
      Lines says(words.begin() + 1, words.begin() + 4);
      for (std::string& text : says) text += text.empty() ? "" : "\r\n";
      mail_.reset();
      mail_.emplace(says, words[4] == "tls", 10110);
    } else if (verb == "pretend") {
      logins_.emplace(open_in_place(LOGIN_SOCKET_PATH, SOCK_STREAM));
      controls_.emplace(open_in_place(CONTROL_SOCKET_PATH, SOCK_DGRAM));
    } else if (verb == "no-kernel-side") {
      close_kernel_side();
    } else if (verb == "reset") {
      reset();
    } else if (verb == "hide") {
      hidden_ = words_of(rest);
    } else {
      tell_gate(verb, rest);
    }
  }

  void tell_gate(const std::string& verb, const std::string& text) {
    if (verb == "gate" && !text.empty()) {  // with options; one that enforces has no input
      close_kernel_side();
      gate_.launch("exec webauth-gate " + text + " </dev/null");
      await_gate("enforcing");
    } else if (verb == "gate") {
      close_kernel_side();
      require(mkfifo(GATE_INPUT, 0600) == 0, GATE_INPUT);
      gate_.launch(std::string("exec webauth-gate <") + GATE_INPUT);
      gate_input_.emplace(open(GATE_INPUT, O_WRONLY | O_CLOEXEC));
    } else if (verb == "await") {  // a word of the gate, after a command if there is one
      const std::size_t end = std::min(text.find(' '), text.size());
      if (end < text.size()) run_shell(text.substr(end));
      await_gate(text.substr(0, end));
    } else if (verb == "forge") {  // the words of a KernelMessage, as "kernel" shows them
      forge(text, sizeof(KernelMessage), sizeof(KernelMessage));
    } else if (verb == "forge-sizes") {  // the same in every other size, for a gate that is silent
      forge(text, 1, sizeof(KernelMessage) - 1);
      for (const std::size_t size : {361U, 4096U, 4097U, 60'000U}) forge(text, size, size);
    } else if (verb == "end-gate") {
      gate_.kill_it();
    } else if (verb == "tell") {  // one line, or the end
      if (text.empty()) return gate_input_.reset();
      require(write(gate_input_->get(), (text + "\n").c_str(), text.size() + 1) > 0, GATE_INPUT);
    } else {  // an event as the gate's commands have it, without the gate
      std::string problem;
      const auto event = parse_gate_command(verb + " " + text, problem);
      if (!event || !event->event) throw std::runtime_error("no such step: " + verb);
      kernel_event(bytes_of(event_message(*event->event)));
    }
  }

  void await_gate(const std::string& text) {
    for (const auto late = std::time(nullptr) + PATIENCE; std::time(nullptr) < late; go_on()) {
      gate_said_ += gate_.output();
      if (gate_said_.find(text) != std::string::npos) return;
      sched_yield();
    }
    throw std::runtime_error("the gate has not said " + text);
  }

  // Sends the beginning of a message, from `from` to `to` bytes of it, to the gate from a port that
  // is not the daemon's.
  void forge(const std::string& words, std::size_t from, std::size_t to) const {
    static const FdGuard fd(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_USERSOCK));
    const sockaddr_nl gate = netlink_address(GATE_PORT);
    KernelMessage message;
    init_kernel_message(message, ADD_ENTRY);
    message.header.nlmsg_pid = static_cast<std::uint32_t>(daemon.pid());
    std::string bytes(bytes_of(message));
    std::istringstream stream(words);
    std::uint32_t word = 0;
    for (std::size_t at = 20; stream >> std::hex >> word; at += 4)
      bytes.replace(at, 4, bytes_of(word));
    bytes.resize(std::max(to, bytes.size()));
    for (std::size_t size = from; size <= to; ++size) {
      const auto* name = reinterpret_cast<const sockaddr*>(&gate);
      require(sendto(fd.get(), bytes.data(), size, 0, name, sizeof gate) > 0, "forge");
    }
  }

  void run_shell(const std::string& text) {
    setenv("daemon", std::to_string(daemon.pid()).c_str(), 1);
    setenv("gate", std::to_string(gate_.pid()).c_str(), 1);
    shell_.launch(text);
    (void)shell_.wait_until(Sleep::DEAD, [this] { go_on(), pretend(); });
    settle();
    shell_said_ = shell_.output();
    if (shell_.status() != 0) shell_said_ += "(status " + std::to_string(shell_.status()) + ")\n";
  }

  // Serves webauthctl in the daemon's place: answers with what /tmp/answer holds, or never.
  void pretend() {
    std::string bytes;
    if (!logins_) return;
    if (receive_now(controls_->get(), bytes)) note_texts(bytes);
    const FdGuard client(accept(logins_->get(), nullptr, nullptr));
    if (client.get() < 0) return;
    bytes.resize(sizeof(LoginRequest));
    (void)recv(client.get(), bytes.data(), bytes.size(), MSG_WAITALL);
    if (std::exchange(asked_, bytes) != bytes) note_texts(bytes);
    const std::string answer = read_file("/tmp/answer");
    if (answer != "(none)") return send_whole(client.get(), answer);
    (void)recv(client.get(), bytes.data(), 1, 0);  // until it gives up
  }

  // "sent <size> <offset>=<text> ..." for the texts in a record.
  void note_texts(const std::string& record) {
    std::string texts = "sent " + std::to_string(record.size());
    std::istringstream stream(record);
    std::size_t at = 0;
    for (std::string text; std::getline(stream, text, '\0'); at += text.size() + 1) {
      if (!text.empty()) texts += " " + std::to_string(at) + "=" + text;
    }
    note(texts);
  }

  void look() override {
    for (const std::string& line : mail_ ? mail_->heard() : Lines{}) note("mail " + line);
    for (const auto& [name, client] : clients_) {
      const std::string reply = reply_to(client.get(), false);
      if (!reply.empty()) note("reply " + name + (name.empty() ? "" : " ") + reply);
    }
    note_lines("output ", daemon.output());
    struct stat status {};
    if (stat(REGISTRATION_FILE, &status) != 0) list_.clear();
    if (logins_ || !S_ISREG(status.st_mode) || status.st_ino == list_file_) return;
    list_file_ = status.st_ino;
    std::string text = read_file(REGISTRATION_FILE);
    for (auto time = started_; time <= std::time(nullptr); ++time) {
      text = replaced(text, " " + std::to_string(time) + " ", " NOW ");
    }
    const Lines old = std::exchange(list_, lines_of(text));
    note_lines("list - ", text_without(old, list_));
    note_lines("list + ", text_without(list_, old));
    if (list_ == old) note("list as before");
  }

  void note_lines(const std::string& what, const std::string& text) {
    for (const std::string& line : lines_of(text)) note(what + line);
  }

  std::optional<MailServer> mail_;
  std::map<std::string, FdGuard> clients_;
  bool stopped_ = false;
  ino_t list_file_ = 0;
  Lines list_, hidden_;
  Program shell_, gate_;
  std::optional<FdGuard> gate_input_, logins_, controls_;
  std::string asked_, shell_said_, gate_said_;
  std::map<std::string, std::string> earlier_;
};

TEST_P(ScenarioTest, GoesAsWritten) {
  const fs::path path = GetParam().path();
  const std::string expected = read_file(path);
  std::string seen;
  for (const std::string& line : lines_of(expected)) {
    const bool step = line.starts_with("> ") || line.starts_with("$ ");
    if (step || line.empty() || line[0] == '#') seen += line + "\n";
    if (step) seen += play(line.substr(line[0] == '>' ? 2 : 0));
  }
  if (std::getenv("WRITE_SCENARIOS") != nullptr) write_file(path, seen);
  EXPECT_TRUE(same_lines(expected, seen));
}

INSTANTIATE_TEST_SUITE_P(All, ScenarioTest,
                         testing::ValuesIn(fs::directory_iterator(TEST_FOLDER "scenarios"),
                                           fs::directory_iterator()),
                         [](const auto& scenario) {
                           return scenario.param.path().stem().string();
                         });

}  // namespace
}  // namespace webauth
