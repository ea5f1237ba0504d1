#include "tests/player.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
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

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::string::npos;) {
    text.replace(at, from.size(), to);
    at += to.size();
  }
  return text;
}

// "<size> <offset>=<text> ..." for the texts in a record.
std::string texts_of(std::string_view record) {
  std::string texts = std::to_string(record.size());
  for (std::size_t at = 0; (at = record.find_first_not_of('\0', at)) < record.size();) {
    const std::size_t end = std::min(record.find('\0', at), record.size());
    texts += " " + std::to_string(at) + "=" + std::string(record.substr(at, end - at));
    at = end;
  }
  return texts;
}

}  // namespace

Player::Player() {
  setenv("TZ", "UTC0", 1);
  watch_order();
}

std::string Player::play(const std::string& step) {
  Lines words = words_of(step);
  const std::string rest_of_step = step.substr(std::min(words[0].size() + 1, step.size()));
  words.resize(std::max<std::size_t>(words.size(), 5));
  if (!prepare(words, rest_of_step) && !visit(words) && !send_record(words)) {
    throw std::runtime_error("no such step: " + step);
  }
  if (stopped_) return "";
  if (daemon.pid() > 0 && !rest()) note("exit status " + std::to_string(wait_for_end()));
  if (gate_.pid() > 0) {
    const auto port = "port " + std::to_string(daemon.pid());
    if (gate_.wait_until(Sleep::POLL, [this] { go_on(); }) && daemon.pid() > 0) settle();
    if (gate_.has_ended()) note("gate ends with " + std::to_string(gate_.wait_for_end()));
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
  return seen.size() > 1 ? like_earlier(step, words, text) : text;
}

std::string Player::like_earlier(const std::string& step, const Lines& words,
                                 const std::string& seen) {
  std::string form = words[0] + "\n" + seen;
  const in_addr_t address = inet_addr(words[1].c_str());
  form = replaced(form, record_text(bytes_of(address)).substr(2), "(its number)");
  for (std::size_t i = 1; i < words.size(); ++i) {
    form = replaced(form, words[i], "(" + std::to_string(i) + ")");
  }
  const auto [earlier, is_new] = earlier_.try_emplace(form, step);
  return is_new ? seen : "as > " + earlier->second + "\n";
}

// Steps around the daemon. "pretend" answers webauthctl in the daemon's place, one login after the
// other: with a verdict, or "none", "torn", "silent". "tell" types to the gate. "stop" holds the
// daemon until all that "continue" shows has been sent.
bool Player::prepare(const Lines& words, const std::string& rest_of_step) {
  const std::string& verb = words[0];
  if (verb == "$") {
    run_shell(rest_of_step);
  } else if (verb == "start") {
    launch(rest_of_step.empty() ? "exec webauthd" : rest_of_step);
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
    gate_.launch("exec webauth-gate " + rest_of_step);
  } else if (verb == "kill-gate") {
    gate_.end();
  } else if (verb == "tell") {
    gate_.type(rest_of_step.empty() ? "" : rest_of_step + "\n");
  } else if (verb == "pretend") {
    verdicts_ = Lines(words.begin() + 1, words.end());
    if (login_listener_ < 0) login_listener_ = open_in_place(LOGIN_SOCKET_PATH, SOCK_STREAM);
    if (control_listener_ < 0) control_listener_ = open_in_place(CONTROL_SOCKET_PATH, SOCK_DGRAM);
  } else if (verb == "no-kernel-side") {
    close_kernel_side();
  } else if (verb == "reset") {
    reset();
  } else {
    return false;
  }
  return true;
}

// What front ends do: "login" and "type" (another request type) at once and to the end, or, for a
// client by its name, step by step.
bool Player::visit(const Lines& words) {
  const std::string &verb = words[0], &name = words[1];
  const bool at_once = verb == "login" || verb == "type";
  if (at_once || verb == "connect") {
    clients_[at_once ? "" : name] = std::make_unique<FdGuard>(connect_front_end());
  }
  if (verb == "login") {
    send_whole(clients_[""]->get(), login_request(words[1], words[2], words[3], words[4]));
  } else if (verb == "type") {
    const auto type = static_cast<std::uint32_t>(std::stoul(words[1], nullptr, 0));
    send_whole(clients_[""]->get(),
               login_request(words[2], words[3]).replace(0, 4, bytes_of(type)));
  } else if (verb == "send") {
    send_whole(clients_.at(name)->get(), login_request(words[2], words[3], words[4]));
  } else if (verb == "leave") {
    clients_.erase(name);
  }
  return at_once || verb == "connect" || verb == "send" || verb == "leave";
}

// Events as the gate's commands have them, and control datagrams, cut behind their last text.
bool Player::send_record(const Lines& words) {
  std::string line, problem;
  for (const std::string& word : words) line += word + " ";
  if (const auto event = parse_gate_command(line, problem); event && event->event) {
    kernel_event(bytes_of(*event->event));
    return true;
  }
  const struct {
    const char* verb;
    std::uint32_t command;
    std::size_t offset;
  } rows[] = {{"add", CTL_ADD_ACCOUNT, 4},    {"delete", CTL_DELETE_ACCOUNT, 4},
              {"cut", CTL_CUT_IP, 68},        {"allow", CTL_ALLOW_MAC, 164},
              {"remove", CTL_REMOVE_MAC, 84}, {"unknown", 4, 4}};
  for (const auto& row : rows) {
    if (words[0] != row.verb) continue;
    std::string bytes(300, '\0');
    bytes.replace(0, 4, bytes_of(row.command)).replace(row.offset, words[1].size(), words[1]);
    if (row.command == CTL_ADD_ACCOUNT) bytes.replace(84, words[2].size(), words[2]);
    control(std::string_view(bytes).substr(0, bytes.find_last_not_of('\0') + 1));
    return true;
  }
  return false;
}

void Player::run_shell(const std::string& text) {
  setenv("daemon", std::to_string(daemon.pid()).c_str(), 1);
  setenv("gate", std::to_string(gate_.pid()).c_str(), 1);
  shell_.launch(text);
  const int status = shell_.wait_for_end([this] { go_on(), pretend(); });
  if (daemon.pid() > 0) settle();
  note_lines("", shell_.output());
  if (status != 0) note("(status " + std::to_string(status) + ")");
}

// Serves webauthctl in the daemon's place.
void Player::pretend() {
  std::string bytes;
  if (control_listener_ >= 0 && receive_now(control_listener_, bytes)) note_sent(bytes);
  const FdGuard client(accept(login_listener_, nullptr, nullptr));
  if (client.get() < 0) return;
  LoginRequest request{};
  (void)recv(client.get(), &request, sizeof request, MSG_WAITALL);
  note_sent(bytes_of(request));
  const std::string verdict = verdicts_.at(0);
  verdicts_.erase(verdicts_.begin());
  if (verdict == "silent") (void)recv(client.get(), &request, 1, 0);  // until it gives up
  if (verdict == "silent" || verdict == "none") return;
  LoginReply reply{};
  reply.result = verdict == "torn" ? 1 : static_cast<std::uint32_t>(std::stoul(verdict));
  send_whole(client.get(), bytes_of(reply).substr(0, verdict == "torn" ? 5 : sizeof reply));
}

void Player::note_sent(std::string_view record) {
  const std::string texts = texts_of(record);
  if (std::exchange(sent_, texts) != texts) note("sent " + texts);
}

void Player::look() {
  for (const std::string& line : mail_ ? mail_->heard() : Lines{}) note("mail " + line);
  for (const auto& [name, client] : clients_) {
    const std::string reply = reply_to(client->get(), false);
    if (!reply.empty()) note("reply " + name + (name.empty() ? "" : " ") + reply);
  }
  if (control_listener_ < 0) look_at_list();
  note_lines("output ", daemon.output());
}

// Of a list that was written anew: the lines that have gone, and those at its end that are new.
void Player::look_at_list() {
  struct stat status {};
  if (stat(REGISTRATION_FILE, &status) != 0) list_.clear();
  const bool same_file = status.st_ino == list_status_.st_ino &&
                         status.st_ctim.tv_sec == list_status_.st_ctim.tv_sec &&
                         status.st_ctim.tv_nsec == list_status_.st_ctim.tv_nsec;
  if (same_file || !S_ISREG(status.st_mode)) return;
  list_status_ = status;
  std::istringstream file(published());
  Lines lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  auto same = lines.begin();
  bool changed = false;
  for (const std::string& line : list_) {
    const bool stays = same != lines.end() && *same == line;
    stays ? void(++same) : note("list - " + line);
    changed = changed || !stays;
  }
  if (same == lines.end() && !changed) note("list as before");
  for (; same != lines.end(); ++same) note("list + " + *same);
  list_ = lines;
}

void Player::note_lines(const std::string& what, const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) note(what + line);
}

}  // namespace webauth
