#include "tests/player.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <ctime>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "common/terminal_text.h"
#include "daemon/control/control_message.h"
#include "daemon/login/login_record.h"
#include "daemon/users/published_line.h"
#include "gate/gate_command.h"
#include "tests/support/script.h"

namespace webauth {
namespace {

// What every start does, unless the transcript has set something.
const Lines DEFAULT_START = {"event syslog.webauth_enable ", "kernel 6", "kernel 7 708 1c20"};
constexpr char ANSWER[] = "/tmp/answer";
constexpr char GATE_INPUT[] = "/tmp/gate.input";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::string::npos;) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

// "sent <size> <offset>=<text> ..." for the texts in a record.
std::string sent(std::string_view record) {
  std::string texts = "sent " + std::to_string(record.size());
  for (std::size_t at = 0; (at = record.find_first_not_of('\0', at)) < record.size();) {
    const std::size_t end = std::min(record.find('\0', at), record.size());
    texts += " " + std::to_string(at) + "=" + std::string(record.substr(at, end - at));
    at = end;
  }
  return texts;
}

// A line of the published list with "NOW" for a login time since the daemon's start.
std::string listed(std::string line, std::int64_t started) {
  const auto end = line.rfind(' ', line.size() - 2);  // before the mode number
  const auto begin = line.rfind(' ', end - 1) + 1;
  const std::int64_t time = std::atoll(line.c_str() + begin);
  const bool is_new = time >= started && time <= std::time(nullptr);
  return is_new ? line.replace(begin, end - begin, "NOW") : line;
}

Lines lines_of(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace

Player::Player() {
  setenv("TZ", "UTC0", 1);
  watch_order();
}

std::string Player::play(const std::string& step) {
  Lines words = words_of(step);
  const std::string rest = step.substr(std::min(words[0].size() + 1, step.size()));
  words.resize(std::max<std::size_t>(words.size(), 6));
  if (!prepare(words, rest) && !visit(words) && !send_record(words)) {
    throw std::runtime_error("no such step: " + step);
  }
  if (stopped_) return "";
  settle();
  if (gate_.pid() > 0) {
    const auto port = "port " + std::to_string(daemon.pid());
    if (gate_.wait_until(Sleep::POLL, [this] { go_on(); })) settle();
    note_lines("gate ", replaced(gate_.output(), port, "port pid"));
  }
  if (clients_.contains("")) {  // it has got all of its reply, but for the end
    const std::string end = reply_to(clients_[""]->get());
    if (!end.empty()) note("reply " + end);
    clients_.erase("");
  }
  Lines seen = effects();
  if (seen == DEFAULT_START) seen.clear();
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

// Steps around the daemon. "pretend" takes its place: a login is answered with the file
// /tmp/answer, or never. "tell" types to the gate. "stop" holds the daemon until all that
// "continue" shows has been sent.
bool Player::prepare(const Lines& words, const std::string& rest) {
  const std::string& verb = words[0];
  if (verb == "$") {
    run_shell(rest);
  } else if (verb == "start") {
    launch(rest.empty() ? "exec webauthd" : rest);
  } else if (verb == "stop" || verb == "continue") {
    stopped_ = verb == "stop";
    kill(daemon.pid(), stopped_ ? SIGSTOP : SIGCONT);
    waitpid(daemon.pid(), nullptr, WUNTRACED | WCONTINUED);
  } else if (verb == "mail") {
    Lines says(words.begin() + 1, words.begin() + 4);
    for (std::string& text : says) text += text.empty() ? "" : "\r\n";
    mail_.reset();
    mail_.emplace(says, words[4] == "tls", 10110);
  } else if (verb == "gate") {
    close_kernel_side();
    (void)mkfifo(GATE_INPUT, 0600);
    gate_.launch(std::string("exec webauth-gate <") + GATE_INPUT);
    gate_input_ = std::make_unique<FdGuard>(open(GATE_INPUT, O_WRONLY | O_CLOEXEC));
  } else if (verb == "tell") {
    if (rest.empty()) gate_input_.reset();
    if (!rest.empty())
      require(write(gate_input_->get(), (rest + "\n").data(), rest.size() + 1) > 0, "gate");
  } else if (verb == "kill-gate") {
    gate_.end();
  } else if (verb == "pretend") {
    login_listener_ = std::make_unique<FdGuard>(open_in_place(LOGIN_SOCKET_PATH, SOCK_STREAM));
    control_listener_ = std::make_unique<FdGuard>(open_in_place(CONTROL_SOCKET_PATH, SOCK_DGRAM));
  } else if (verb == "no-kernel-side") {
    close_kernel_side();
  } else if (verb == "reset") {
    reset();
  } else {
    return false;
  }
  return true;
}

// What front ends do: "login IP MAC USER PASSWORD TYPE" at once and to the end, "cut SIZE IP MAC"
// with so many bytes, or, for a client by its name, step by step.
bool Player::visit(const Lines& words) {
  const std::string &verb = words[0], &name = words[1];
  if (verb == "login") {
    const auto type = static_cast<std::uint32_t>(std::stoul("0" + words[5], nullptr, 16));
    std::string request = login_request(words[1], words[2], words[3], words[4]);
    if (!words[5].empty()) request.replace(0, 4, bytes_of(type));
    clients_[""] = std::make_unique<FdGuard>(connect_front_end());
    send_whole(clients_[""]->get(), request);
  } else if (verb == "cut") {
    std::string request = login_request(words[2], words[3]);
    request.resize(std::stoul(words[1]), 'x');
    clients_[""] = std::make_unique<FdGuard>(connect_front_end());
    send_whole(clients_[""]->get(), request);
  } else if (verb == "connect") {
    clients_[name] = std::make_unique<FdGuard>(connect_front_end());
  } else if (verb == "send") {
    send_whole(clients_.at(name)->get(), login_request(words[2], words[3]));
  } else if (verb == "leave") {
    clients_.erase(name);
  } else {
    return false;
  }
  return true;
}

// Events as the gate's commands have them, and control datagrams, cut behind their last text:
// "control COMMAND OFFSET TEXT OFFSET TEXT".
bool Player::send_record(const Lines& words) {
  std::string line, problem;
  for (const std::string& word : words) line += word + " ";
  if (const auto event = parse_gate_command(line, problem); event && event->event) {
    kernel_event(bytes_of(*event->event));
    return true;
  }
  if (words[0] != "control") return false;
  std::string bytes(300, '\0');
  bytes[0] = static_cast<char>(std::stoi(words[1]));
  for (std::size_t i = 2; i < 6; i += 2) {
    if (!words[i].empty()) bytes.replace(std::stoul(words[i]), words[i + 1].size(), words[i + 1]);
  }
  control(std::string_view(bytes).substr(0, bytes.find_last_not_of('\0') + 1));
  return true;
}

void Player::run_shell(const std::string& text) {
  setenv("daemon", std::to_string(daemon.pid()).c_str(), 1);
  setenv("gate", std::to_string(gate_.pid()).c_str(), 1);
  shell_.launch(text);
  const int status = shell_.wait_for_end([this] { go_on(), pretend(); });
  settle();
  note_lines("", shell_.output());
  if (status != 0) note("(status " + std::to_string(status) + ")");
}

// Serves webauthctl in the daemon's place.
void Player::pretend() {
  if (!login_listener_) return;
  std::string bytes;
  if (receive_now(control_listener_->get(), bytes)) note(sent(bytes));
  const FdGuard client(accept(login_listener_->get(), nullptr, nullptr));
  if (client.get() < 0) return;
  bytes.resize(sizeof(LoginRequest));
  (void)recv(client.get(), bytes.data(), bytes.size(), MSG_WAITALL);
  if (std::exchange(asked_, bytes) != bytes) note(sent(bytes));
  const std::string answer = read_file(ANSWER);
  if (answer != "(none)") return send_whole(client.get(), answer);
  (void)recv(client.get(), bytes.data(), 1, 0);  // until it gives up
}

// The published list is looked at whenever it was written: what has gone, and what is new.
void Player::look() {
  for (const std::string& line : mail_ ? mail_->heard() : Lines{}) note("mail " + line);
  for (const auto& [name, client] : clients_) {
    const std::string reply = reply_to(client->get(), false);
    if (!reply.empty()) note("reply " + name + (name.empty() ? "" : " ") + reply);
  }
  note_lines("output ", daemon.output());
  struct stat status {};
  if (stat(REGISTRATION_FILE, &status) != 0) list_.clear();
  if (login_listener_ || !S_ISREG(status.st_mode) || status.st_ino == list_file_) return;
  list_file_ = status.st_ino;
  Lines list = lines_of(read_file(REGISTRATION_FILE));
  for (std::string& line : list) line = listed(line, started_);
  const auto note_missing = [this](const char* what, const Lines& from, const Lines& in) {
    for (const std::string& line : from) {
      if (std::count(in.begin(), in.end(), line) == 0) note(what + line);
    }
  };
  note_missing("list - ", list_, list);
  note_missing("list + ", list, list_);
  if (list == list_) note("list as before");
  list_ = list;
}

void Player::note_lines(const std::string& what, const std::string& text) {
  for (const std::string& line : lines_of(text)) note(what + line);
}

}  // namespace webauth
