// Plays the scenarios of tests/scenarios: each is a transcript of one daemon's life. Lines that
// begin with "> " are done, the others are what must then be seen, in this order: the reply to a
// front end, what the mail server heard, messages to the kernel module, log lines, the daemon's
// output, and the published list when it is written.
// "$" marks the end of a text. Blank lines and lines that begin with "#" separate. With
// WRITE_SCENARIOS in the environment the files are written anew; read the difference.
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <optional>
#include <sstream>
#include <utility>

#include "daemon/control/control_message.h"
#include "daemon/users/published_line.h"
#include "gate/gate_command.h"
#include "tests/support/mail_server.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

class ScenarioTest : public WorldTest, public testing::WithParamInterface<fs::path> {
 protected:
  void obey(const std::string& command) {
    std::istringstream words(command);
    std::string verb, a, b, c, d, problem;
    words >> verb >> std::quoted(a) >> std::quoted(b) >> std::quoted(c) >> std::quoted(d);
    if (verb == "start") {
      start(settings_, a.empty() ? Lines{} : Lines{a, b});
    } else if (verb == "start-fails") {
      say("exit status", (launch(settings_), std::to_string(wait_for_end())));
    } else if (verb == "reset") {
      reset();
      settings_.clear();
    } else if (verb == "setting") {
      settings_ += a + "\n";
    } else if (verb == "line") {
      const std::string rest = command.substr(command.find(a) + a.size());
      std::ofstream(a, std::ios::app) << rest.substr(rest.empty() ? 0 : 1) << "\n";
    } else if (verb == "directory") {
      fs::create_directory(a);
    } else if (verb == "show") {
      show("", fs::is_socket(a) ? "(socket)" : fs::is_directory(a) ? "(directory)" : read_file(a));
    } else if (verb == "no-kernel-side") {
      close_kernel_side();
    } else if (verb == "mail") {
      serve_mail({a, b, c}, d == "tls");
    } else if (const auto event = parse_gate_command(command, problem)) {
      kernel_event(bytes_of(*event->event));
    } else if (!ask(verb, a, b, c, d)) {
      command_daemon(verb, a, b, c);
    }
    observe();
  }

  std::string seen_;

 private:
  void say(const char* what, const std::string& text) {
    if (!text.empty()) seen_ += std::string(what) + " " + text + "$\n";
  }

  // What front ends do. "stop" holds the daemon until all that "continue" shows has been sent.
  bool ask(const std::string& verb, const std::string& a, const std::string& b,
           const std::string& c, const std::string& d) {
    if (verb == "login") {
      say("reply", login(a, b, c, d));
    } else if (verb == "last") {
      const FrontEnd client;
      client.send(login_request(a, b, c, d));
      say("exit status", std::to_string(wait_for_end()));
      say("reply", client.reply());
    } else if (verb == "type") {
      const auto type = static_cast<std::uint32_t>(std::stoul(a, nullptr, 0));
      const FrontEnd client;
      client.send(login_request(b, c).replace(0, 4, bytes_of(type)));
      say("reply", client.reply());
    } else if (verb == "connect") {
      clients_[a];
    } else if (verb == "send") {
      clients_[a].send(login_request(b, c, d));
    } else if (verb == "leave") {
      clients_.erase(a);
    } else if (verb == "hear") {
      say("reply", clients_[a].reply());
    } else if (verb == "stop" || verb == "continue") {
      stopped_ = verb == "stop";
      kill(daemon.pid(), stopped_ ? SIGSTOP : SIGCONT);
      EXPECT_EQ(daemon.pid(), waitpid(daemon.pid(), nullptr, WUNTRACED | WCONTINUED));
    } else {
      return false;
    }
    return true;
  }

  void show(const std::string& what, const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) seen_ += what + line + "$\n";
  }

  void serve_mail(Lines says, bool tls) {
    for (std::string& text : says) text += text.empty() ? "" : "\r\n";
    mail_.reset();
    mail_.emplace(says, tls, 10110);
  }

  // A datagram that is cut behind its last text, like "cut" without the blanks around it.
  void command_daemon(const std::string& verb, const std::string& a, const std::string& b,
                      const std::string& c) {
    const struct {
      const char* verb;
      std::uint32_t command;
      std::size_t offset;
    } rows[] = {{"add", CTL_ADD_ACCOUNT, 4},    {"delete", CTL_DELETE_ACCOUNT, 4},
                {"cut", CTL_CUT_IP, 68},        {"allow", CTL_ALLOW_MAC, 164},
                {"remove", CTL_REMOVE_MAC, 84}, {"unknown", 4, 4}};
    for (const auto& row : rows) {
      if (verb != row.verb) continue;
      std::string bytes(300, '\0');
      bytes.replace(0, 4, bytes_of(row.command));
      bytes.replace(row.offset, a.size(), a);
      if (row.command == CTL_ADD_ACCOUNT) bytes.replace(84, b.size(), b).replace(100, c.size(), c);
      return control(std::string_view(bytes).substr(0, bytes.find_last_not_of('\0') + 1));
    }
    FAIL() << "no such command: " << verb;
  }

  void observe() {
    if (stopped_) return;
    for (const std::string& line : mail_ ? mail_->heard() : Lines{}) say("mail", line);
    for (const std::string& message : kernel()) say("kernel", message);
    for (const std::string& line : log()) say("log", line);
    show("output ", daemon.output());
    struct stat list {};
    if (stat(REGISTRATION_FILE, &list) != 0 || !S_ISREG(list.st_mode)) return;
    const std::string identity = std::to_string(list.st_ino) + " " +
                                 std::to_string(list.st_ctim.tv_sec) + " " +
                                 std::to_string(list.st_ctim.tv_nsec);
    if (std::exchange(written_, identity) == identity) return;
    show("list ", published() + (list.st_size == 0 ? "(empty)\n" : ""));
  }

  std::string settings_;
  std::optional<MailServer> mail_;
  std::map<std::string, FrontEnd> clients_;
  bool stopped_ = false;
  std::string written_;
};

TEST_P(ScenarioTest, GoesAsWritten) {
  const std::string expected = read_file(GetParam());
  std::istringstream file(expected);
  for (std::string line; std::getline(file, line);) {
    const bool command = line.starts_with("> ");
    if (command || line.empty() || line[0] == '#') seen_ += line + "\n";
    if (command) obey(line.substr(2));
  }
  if (std::getenv("WRITE_SCENARIOS") != nullptr) write_file(GetParam(), seen_);
  EXPECT_TRUE(same_lines(expected, seen_));
}

std::vector<fs::path> scenarios() {
  std::vector<fs::path> paths;
  for (const auto& entry : fs::directory_iterator(SCENARIOS)) paths.push_back(entry.path());
  return paths;
}

INSTANTIATE_TEST_SUITE_P(All, ScenarioTest, testing::ValuesIn(scenarios()),
                         [](const auto& scenario) { return scenario.param.stem().string(); });

}  // namespace
}  // namespace webauth
