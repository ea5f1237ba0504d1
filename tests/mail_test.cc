// Plays mail_probes.txt, which says how it is to be read; some probes at a time.
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <syslog.h>

#include <map>

#include "common/clock.h"
#include "daemon/login/mail_probe.h"
#include "tests/support/mail_server.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

constexpr char PROBES[] = TEST_FOLDER "mail_probes.txt";
constexpr std::size_t AT_A_TIME = sizeof(void*) == 4 ? 2 : 10;  // an emulator is slow at TLS
constexpr std::string_view LINE_BEGIN =
    "log: @#@ log_info n - -  - webident - -v ident.emailident ";

std::string answer(std::string text) {
  if (!text.ends_with("close")) text += "\r\n";
  const auto fill = text.find('~');
  if (fill == std::string::npos) return text;
  const std::size_t size = std::stoul(text.substr(fill + 1, 3));
  return text.erase(fill, 4).insert(fill, size - text.size(), 'x');
}

// A port on which one connection waits and there is no room for another.
int full_port() {
  sockaddr_in address{};
  auto* name = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  require(listen(listener, 0) + getsockname(listener, name, &size) == 0, "listen");
  for (int i = 0; i < 3; ++i) connect(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0), name, size);
  return ntohs(address.sin_port);
}

// In a process of its own: puts the log and what else is seen into a file.
[[noreturn]] void play(const Lines& words) {
  require(std::freopen(("/tmp/" + std::to_string(getpid())).c_str(), "w", stdout) != nullptr,
          "/tmp");
  dup2(STDOUT_FILENO, STDERR_FILENO);
  openlog("log", LOG_PERROR | LOG_NDELAY, 0);  // musl keeps a socket for it
  std::map<std::string, std::string> named = {
      {"server", "127.0.0.1"}, {"user", "u"}, {"pass", "p"}, {"peer", ""}};
  Lines says;
  for (std::size_t i = 1; words.at(i) != "="; ++i) {
    const auto name = named.find(words[i].substr(0, words[i].find('=')));
    if (name == named.end()) says.push_back(answer(words[i]));
    if (name != named.end()) name->second = words[i].substr(name->first.size() + 1);
  }
  const bool tls = words[0].ends_with('s');
  const auto ask = words[0].starts_with("imap") ? (tls ? probe_imap_tls : probe_imap)
                                                : (tls ? probe_pop3_tls : probe_pop3);
  MailServer server(says, tls && named["peer"] != "plain");
  int port = server.port() + 65536;  // its low 16 bits count
  if (named["peer"] == "nobody") server.stop();
  if (named["peer"] == "full") port = full_port();
  if (named["peer"] == "dovecot") port = 10110;
  const auto descriptors = open_descriptors(getpid());
  const auto begin = steady_microseconds();
  const int verdict =
      ask(named["server"].c_str(), port, named["user"].c_str(), named["pass"].c_str());
  const auto waits = (steady_microseconds() - begin + 50'000) / 2'000'000;
  require(descriptors == open_descriptors(getpid()), "descriptors");
  server.stop();
  std::printf(" %d %ds", verdict, static_cast<int>(waits) * 2);
  for (const std::string& line : server.heard()) {
    std::printf(line.size() < 40 ? ", %s" : ", %.20s... %zu", line.c_str(), line.size());
  }
  std::exit(0);
}

// What the process of a probe has said, its log line, which comes first, at the end.
std::string seen_by(pid_t process) {
  int status = 0;
  waitpid(process, &status, 0);
  EXPECT_EQ(0, status);
  const std::string text = read_file("/tmp/" + std::to_string(process));
  const auto end = text.find('\n') + 1;
  if (!text.starts_with(LINE_BEGIN)) return text;
  return text.substr(end) + "," + text.substr(LINE_BEGIN.size(), end - 1 - LINE_BEGIN.size());
}

TEST(MailTest, Probes) {
  enter_sandbox();
  write_file("/etc/hosts", "127.0.0.1 mail.test\n");
  write_file("/etc/resolv.conf", "");
  ASSERT_EQ(0, std::system("'" DOVECOT_START "' /run/mail >/dev/null"));
  const std::string expected = read_file(PROBES);
  Lines rows = lines_of(expected);
  std::vector<pid_t> probes(AT_A_TIME);  // of the rows, behind nobody
  for (std::string& row : rows) {
    siginfo_t end;
    const auto oldest = static_cast<id_t>(*(probes.end() - AT_A_TIME));
    if (oldest != 0) waitid(P_PID, oldest, &end, WEXITED | WNOWAIT);
    row.resize(row[0] == '#' ? row.size() : row.rfind(" =") + 2);
    probes.push_back(row[0] == '#' ? 0 : fork());
    if (row[0] != '#' && probes.back() == 0) play(words_of(row));
  }
  std::string seen;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const pid_t probe = probes[i + AT_A_TIME];
    seen += rows[i] + (probe > 0 ? seen_by(probe) : "") + "\n";
  }
  if (std::getenv("WRITE_SCENARIOS") != nullptr) write_file(PROBES, seen);
  EXPECT_TRUE(same_lines(expected, seen));
}

}  // namespace
}  // namespace webauth
