// Plays mail_probes.txt: each paragraph is one probe of a mail server, written like the scenarios.
// "> PROBE USER PASSWORD [SERVER [PEER]]" runs it; PEER is "plain" where the probe wants TLS,
// "full" (takes no more connections), "nobody", or "dovecot", a real one. "> says TEXT" is what the
// server answers, CR LF added; in it "|" is a second of silence, "@" a NUL, and "~N" fills it up to
// N bytes. Seconds are counted in twos: each wait is that long. All paragraphs run at the same
// time. WRITE_SCENARIOS in the environment writes the file anew.
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <syslog.h>

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "common/clock.h"
#include "daemon/login/mail_probe.h"
#include "tests/support/mail_server.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

constexpr char FOLDER[] = "/run/mail";  // of the real server
constexpr int DOVECOT_PORT = 10110;

struct Probe {
  std::string text;  // of its paragraph, without what is seen
  std::string protocol, user, password, server = "127.0.0.1", peer;
  Lines says = {};
  pid_t process = 0;
};

std::string answer(std::string text) {
  if (!text.ends_with("close")) text += "\r\n";
  std::replace(text.begin(), text.end(), '@', '\0');
  const auto fill = text.find('~');
  if (fill == std::string::npos) return text;
  std::size_t digits = 0;
  const std::size_t size = std::stoul(text.substr(fill + 1), &digits);
  text.erase(fill, digits + 1);
  return text.insert(fill, size - text.size(), 'x');
}

std::vector<Probe> read_probes(const std::string& text) {
  std::vector<Probe> probes(1);
  std::istringstream file(text);
  for (std::string line; std::getline(file, line);) {
    Probe& probe = probes.back();
    if (line.starts_with("> ") || line.starts_with("#")) probe.text += line + "\n";
    std::istringstream words(line);
    if (line.empty()) {
      probes.emplace_back();
    } else if (line.starts_with("> says ")) {
      probe.says.push_back(answer(line.substr(7)));
    } else if (line.starts_with("> ")) {
      words.ignore(2) >> probe.protocol >> std::quoted(probe.user) >> std::quoted(probe.password) >>
          std::quoted(probe.server) >> probe.peer;
    }
  }
  return probes;
}

// A port on which one connection waits and there is no room for another.
int full_port() {
  sockaddr_in address{};
  auto* name = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  EXPECT_EQ(0, listen(listener, 0) + getsockname(listener, name, &size));
  for (int i = 0; i < 3; ++i) connect(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0), name, size);
  return ntohs(address.sin_port);
}

int ask(const Probe& probe, int port) {
  const bool tls = probe.protocol.ends_with('s');
  const auto ask_server = probe.protocol.starts_with("imap") ? (tls ? probe_imap_tls : probe_imap)
                                                             : (tls ? probe_pop3_tls : probe_pop3);
  return ask_server(probe.server.c_str(), port, probe.user.c_str(), probe.password.c_str());
}

// In a process of its own, whose standard error, the log included, is what was seen.
[[noreturn]] void play(const Probe& probe, const std::string& output) {
  EXPECT_NE(nullptr, std::freopen(output.c_str(), "w", stderr));
  openlog("log", LOG_PERROR, 0);
  const bool tls = probe.protocol.ends_with('s') && probe.peer != "plain";
  const int special = probe.peer == "full"      ? full_port()
                      : probe.peer == "dovecot" ? DOVECOT_PORT
                                                : 0;
  MailServer server(probe.says, tls);
  const int port = special > 0 ? special : server.port() + 65536;  // its low 16 bits count
  if (probe.peer == "nobody") server.stop();
  const auto descriptors = open_descriptors(getpid());
  const auto begin = steady_microseconds();
  const int verdict = ask(probe, port);
  const long seconds = (steady_microseconds() - begin + 100'000) / 2'000'000 * 2;
  EXPECT_EQ(descriptors, open_descriptors(getpid()));
  server.stop();
  for (const std::string& line : server.heard()) std::fprintf(stderr, "saw %s$\n", line.c_str());
  std::fprintf(stderr, "%d after %ld s\n", verdict, seconds);
  std::exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(MailTest, Probes) {
  enter_sandbox();
  write_file("/etc/hosts", "127.0.0.1 mail.test\n");
  write_file("/etc/resolv.conf", "");
  ASSERT_EQ(0, std::system((std::string(DOVECOT_START " ") + FOLDER + " >/dev/null").c_str()));
  const std::string expected = read_file(MAIL_PROBES);
  std::vector<Probe> probes = read_probes(expected);
  for (Probe& probe : probes) {
    probe.process = fork();
    if (probe.process == 0) play(probe, "/tmp/" + std::to_string(getpid()));
  }
  std::string seen;
  for (const Probe& probe : probes) {
    int status = 0;
    waitpid(probe.process, &status, 0);
    EXPECT_EQ(0, status) << probe.text;
    seen += (seen.empty() ? "" : "\n") + probe.text;
    seen += read_file("/tmp/" + std::to_string(probe.process));
  }
  if (std::getenv("WRITE_SCENARIOS") != nullptr) write_file(MAIL_PROBES, seen);
  EXPECT_TRUE(same_lines(expected, seen));
}

}  // namespace
}  // namespace webauth
