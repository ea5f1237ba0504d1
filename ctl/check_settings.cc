#include "ctl/check_settings.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string_view>

#include "common/fd_guard.h"
#include "common/file.h"
#include "common/terminal_text.h"
#include "common/text_line.h"
#include "ctl/setting.h"
#include "daemon/core/setting_values.h"
#include "daemon/platform/setting_line.h"

namespace webauth {
namespace {

enum class Kind : int { MODE, SWITCH, PREFIX_SWITCH, PROTOCOL, MINUTES, HOST, PORT, TEXT };

struct KnownKey {
  std::string_view key;
  Kind kind;
};

constexpr KnownKey KNOWN_KEYS[] = {
    {"WEBAUTH_SECTYPE", Kind::MODE},      {"WEBAUTH_MULTIUSER", Kind::PREFIX_SWITCH},
    {"WEBAUTH_POP3SERVER", Kind::HOST},   {"WEBAUTH_POP3SPORT", Kind::PORT},
    {"WEBAUTH_POP3SSL", Kind::SWITCH},    {"WEBAUTH_E_PRO", Kind::PROTOCOL},
    {"WEBAUTH_E_SUFFIX", Kind::TEXT},     {"EMAIL_ENABLE_WHITE_LIST", Kind::SWITCH},
    {"GROUPIP_NUM_MAX", Kind::TEXT},      {"WEBSEC_TIMEOUT", Kind::MINUTES},
    {"WEBAUTH_ALLTIME", Kind::MINUTES},   {"WEBSEC_YJ_TIMEOUT", Kind::MINUTES},
    {"WEBSEC_YJ_ALLTIME", Kind::MINUTES}, {"WEBSEC_TP_TIMEOUT", Kind::MINUTES},
    {"WEBSEC_TP_ALLTIME", Kind::MINUTES}, {"WEBSEC_WX_TIMEOUT", Kind::MINUTES},
    {"WEBSEC_WX_ALLTIME", Kind::MINUTES},
};

// Others keep their settings in the file too: a key that nobody here knows is only judged when it
// begins as ours do.
constexpr std::string_view OUR_PREFIXES[] = {"WEBAUTH", "WEBSEC", "EMAIL_ENABLE"};

constexpr char EVERYBODY[] = "everybody who asks is admitted";

bool starts_alike(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         strncasecmp(text.data(), prefix.data(), prefix.size()) == 0;
}

bool is_alike(std::string_view text, std::string_view other) {
  return text.size() == other.size() && starts_alike(text, other);
}

bool looks_like_yes(std::string_view value) {
  return starts_alike(value, "y") || is_alike(value, "on") || is_alike(value, "true") ||
         value == "1";
}

std::string unknown_key_fault(std::string_view key) {
  for (const KnownKey& known : KNOWN_KEYS) {
    if (!is_alike(key, known.key)) continue;
    return "capitals count: the daemon knows " + std::string(known.key);
  }
  const bool is_ours =
      std::any_of(std::begin(OUR_PREFIXES), std::end(OUR_PREFIXES),
                  [&](std::string_view prefix) { return starts_alike(key, prefix); });
  return is_ours ? "the daemon knows no setting " + quoted_text(key) : "";
}

// The number that a text begins with, as atoi takes it.
struct LeadingNumber {
  long long number;
  std::size_t length;  // 0: there is none
};

LeadingNumber leading_number(std::string_view value) {
  const std::string text(value);
  char* end = nullptr;
  const long long number = std::strtoll(text.c_str(), &end, 10);
  return {number, static_cast<std::size_t>(end - text.c_str())};
}

std::string minutes_fault(std::string_view value) {
  constexpr long long MOST = std::numeric_limits<std::uint32_t>::max() / 60;
  const auto [minutes, length] = leading_number(value);
  if (length == 0) return quoted_text(value) + " is no number: it counts as 0";
  if (minutes < 0 || minutes > MOST) {
    return quoted_text(value) + " minutes do not fit into the 32 bits of their seconds";
  }
  return length < value.size() ? "of " + quoted_text(value) + " only the number counts, in minutes"
                               : "";
}

std::string port_fault(std::string_view value) {
  if (value.size() >= MAIL_PORT_SIZE) {
    return "too long a port: in mode EMAIL the daemon does not start";
  }
  const auto [port, length] = leading_number(value);
  const bool is_port = length == value.size() && port >= 1 && port <= 65535;
  return is_port ? "" : quoted_text(value) + " is no TCP port";
}

std::string mode_fault(std::string_view value) {
  if (find_mode(value) != nullptr) return {};
  return quoted_text(value) + " is no mode: " + EVERYBODY +
         ", as in mode LOCAL with the time-outs WEBSEC_TIMEOUT and WEBAUTH_ALLTIME";
}

std::string value_fault(Kind kind, std::string_view value) {
  switch (kind) {
    case Kind::MODE:
      return mode_fault(value);
    case Kind::SWITCH:
      return value != "YES" && looks_like_yes(value)
                 ? quoted_text(value) + " means no: only YES is yes"
                 : "";
    case Kind::PREFIX_SWITCH:
      return !means_multi_user(value) && looks_like_yes(value)
                 ? quoted_text(value) + " means no: only what begins with YES is yes"
                 : "";
    case Kind::PROTOCOL:
      return value != "imap" && !is_alike(value, "pop3")
                 ? quoted_text(value) + " means POP3: only imap, in small letters, is IMAP"
                 : "";
    case Kind::MINUTES:
      return minutes_fault(value);
    case Kind::HOST:
      return value.size() >= MAIL_HOST_SIZE
                 ? "too long a host name: in mode EMAIL the daemon does not start"
                 : "";
    case Kind::PORT:
      return port_fault(value);
    default:
      return {};
  }
}

bool is_quoted(std::string_view value) {
  return value.size() >= 2 && (value[0] == '"' || value[0] == '\'') && value[0] == value.back();
}

// Where each known key stands last, which is the line that counts.
struct Seen {
  std::size_t line = 0;
  std::string_view value;
};
using SeenKeys = std::array<Seen, std::size(KNOWN_KEYS)>;

void check_line(std::string_view text, std::size_t line, SeenKeys& seen, Findings& findings) {
  const auto read = read_setting(text);
  if (!read) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    if (begin != std::string_view::npos && text[begin] != '#') {
      findings.push_back({line, "no setting and no comment, ignored: " + quoted_text(text)});
    }
    return;
  }
  const auto known = std::find_if(std::begin(KNOWN_KEYS), std::end(KNOWN_KEYS),
                                  [&](const KnownKey& row) { return row.key == read->key; });
  if (known == std::end(KNOWN_KEYS)) {
    const std::string fault = unknown_key_fault(read->key);
    if (!fault.empty()) findings.push_back({line, fault});
    return;
  }
  Seen& before = seen[static_cast<std::size_t>(known - std::begin(KNOWN_KEYS))];
  if (before.line > 0) {
    findings.push_back({before.line, std::string(read->key) +
                                         " does not count: it stands again in line " +
                                         std::to_string(line)});
  }
  before = {line, read->value};
}

const Seen& seen_key(const SeenKeys& seen, std::string_view key) {
  std::size_t i = 0;
  while (KNOWN_KEYS[i].key != key) ++i;
  return seen[i];
}

void check_values(const SeenKeys& seen, Findings& findings) {
  for (std::size_t i = 0; i < seen.size(); ++i) {
    const auto& [line, value] = seen[i];
    if (line == 0 || value.empty()) continue;
    if (is_quoted(value)) {
      findings.push_back({line, "the quotes belong to the value: " + quoted_text(value)});
    }
    const std::string fault = value_fault(KNOWN_KEYS[i].kind, value);
    if (!fault.empty()) findings.push_back({line, fault});
  }
  const Seen& mode = seen_key(seen, "WEBAUTH_SECTYPE");
  if (mode.value.empty()) {
    findings.push_back({mode.line, std::string("no WEBAUTH_SECTYPE: ") + EVERYBODY});
  }
  if (mode.value != mode_row(AuthMode::EMAIL).text) return;
  for (const char* key : {"WEBAUTH_POP3SERVER", "WEBAUTH_POP3SPORT"}) {
    const Seen& server = seen_key(seen, key);
    if (server.value.empty()) {
      findings.push_back(
          {server.line, std::string("no ") + key + ": every login by e-mail is refused"});
    }
  }
}

// The file whole; words about why not, of one that exists.
std::optional<std::string> read_settings(std::string& text) {
  const FdGuard file(open(settings_path(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (file.get() < 0) return errno == ENOENT ? std::optional<std::string>() : std::strerror(errno);
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return "not a regular file";
  if (!read_whole(file.get(), text)) return std::strerror(errno);
  return {};
}

}  // namespace

Findings check_settings() {
  std::string text;
  if (const auto problem = read_settings(text)) {
    return {{0, "cannot be read (" + *problem + "): the daemon does not start"}};
  }
  Findings findings;
  SeenKeys seen{};
  std::string_view rest = text;
  for (std::size_t line = 1; !rest.empty(); ++line)
    check_line(take_line(rest), line, seen, findings);
  check_values(seen, findings);
  return findings;
}

}  // namespace webauth
