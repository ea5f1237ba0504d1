// Checks the rows of portal_rules.txt, which says how they are to be read.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <optional>

#include "common/fd_guard.h"
#include "daemon/control/control_message.h"
#include "portal/account_check.h"
#include "portal/connection_policy.h"
#include "portal/daemon_channel.h"
#include "portal/form.h"
#include "portal/form_token.h"
#include "portal/http_request.h"
#include "portal/login_desk.h"
#include "portal/login_rules.h"
#include "portal/published_list.h"
#include "portal/rate_limit.h"
#include "portal/texts.h"
#include "tests/support/neighbours.h"

namespace webauth {
namespace {

constexpr std::int64_t SECOND = 1'000'000;
constexpr char ACCOUNTS[] = "/tmp/accounts";

LoginRules rules_named(const std::string& name) {
  if (name == "account") return LoginRules::ACCOUNT;
  return name == "imap" ? LoginRules::IMAP : LoginRules::POP3;
}

Lines request(const std::string& text) {
  const HeadResult result = read_head(text);
  if (result.status != 200) return {std::to_string(result.status)};
  const Request& read = result.request;
  for (std::size_t size = 0; size <= text.size(); ++size) {
    const std::string cut(text, 0, size);  // of its own, so that nothing is read behind its end
    EXPECT_EQ(size < read.head_size ? 0 : 200, read_head(cut).status) << "cut at " << size;
  }
  constexpr const char* METHODS[] = {"GET", "HEAD", "POST"};
  return {"200",
          METHODS[static_cast<int>(read.method)],
          std::string(read.host),
          std::string(read.path),
          std::to_string(read.body_status),
          std::to_string(read.body_size)};
}

// The status of the head, or else of the body.
std::string refusal_of(const Lines& read) { return read.size() == 1 ? read[0] : read[4]; }

Lines form(const std::string& text) {
  std::vector<char> body(text.begin(), text.end());  // nothing stands behind its end
  const auto decoded = decode_form(body);
  if (!decoded) return {};
  Lines fields = {std::to_string(decoded->count)};
  for (std::size_t i = 0; i < decoded->count; ++i) {
    fields.emplace_back(decoded->fields[i].name);
    fields.emplace_back(decoded->fields[i].value);
  }
  return fields;
}

Lines place(const Lines& words) {
  std::vector<Place> places;
  const bool tls = words[0] == "tls";
  for (std::size_t i = tls ? 1 : 0; i < words.size(); ++i) {
    const auto stage = static_cast<Stage>(std::string("FAWSD").find(words[i][0]));
    const auto ip = static_cast<std::uint32_t>(words[i][1] - '0');
    places.push_back({.stage = stage, .tls = words[i].ends_with('t'), .ip = ip, .order = i});
  }
  const Admission admission = admit(places, {.all = 4, .per_address = 2, .tls = 3}, 1, tls);
  if (!admission.is_over) return {"fits"};
  return {admission.victim ? std::to_string(*admission.victim) : "closed"};
}

// A daemon that does what it is told to, and the portal's desk before it.
class ScriptedDaemon {
 public:
  ScriptedDaemon(const std::string& listed, const Lines& script)
      : script_(script.rbegin(), script.rend()), other_(listed == "other") {
    desk_.hooks = {.is_still_good = [=](const Login&) { return listed != "stale"; },
                   .is_handed_on = [this](const Login&) { return other_; },
                   .is_published = [this](const Login&) { return published_; },
                   .finished =
                       [this](const Login&, LoginOutcome outcome) {
                         told_.push_back(std::to_string(static_cast<int>(outcome)));
                       }};
    desk_.epoll = epoll_.get();
    desk_.control = control_.get();
    desk_.queue.push_back({.ip = htonl(0x0a000001),
                           .mac = {0, 0x11, 0xaa, 3, 4, 5},
                           .mode = AuthMode::EMAIL,
                           .user = "alice",
                           .password = Secret("sixteen letters!"),
                           .cut_first = listed == "cut-first"});
    if (listed == "gone") unlink(CONTROL_SOCKET_PATH), unlink(LOGIN_SOCKET_PATH);
  }

  Lines run() {
    std::int64_t now = SECOND;
    do {
      advance(desk_, now);
      if (const int fd = accept(logins_.get(), nullptr, nullptr); fd >= 0) serve(fd);
      if (std::string bytes; receive_now(cuts_.get(), bytes)) {
        CutIpMessage cut{.command = CTL_CUT_IP, .unused1{}, .ip = "10.0.0.1", .unused2{}};
        told_.emplace_back(bytes == bytes_of(cut) ? "cut" : "a wrong cut");
      }
      now += SECOND / 1000;
    } while (desk_.phase != LoginDesk::Phase::IDLE && now < 70 * SECOND);
    EXPECT_TRUE(script_.empty() && desk_.queue.empty());
    return told_;
  }

 private:
  void serve(int fd) {
    client_.emplace(fd);  // another one is closed now
    const std::string word = script_.empty() ? "none" : script_.back();
    if (!script_.empty()) script_.pop_back();
    published_ = word.ends_with('+');
    std::string bytes;
    if (!word.starts_with("reset")) receive_now(fd, bytes);
    const bool is_right = bytes.empty() || bytes == login_request("10.0.0.1", "00:11:aa:03:04:05",
                                                                  "alice", "sixteen letters!");
    told_.emplace_back(is_right ? "login" : "a wrong login");
    if (word.starts_with("cut")) send_whole(fd, "\2");
    if (const int result = std::atoi(word.c_str()); result > 0) {
      send_whole(fd, bytes_of(LoginReply{.result = std::uint32_t(result), .unused{}}));
    }
    if (!word.starts_with("silent")) client_.reset();
  }

  FdGuard logins_{open_in_place(LOGIN_SOCKET_PATH, SOCK_STREAM)};
  FdGuard cuts_{open_in_place(CONTROL_SOCKET_PATH, SOCK_DGRAM)};
  FdGuard control_{open_control_channel()};
  FdGuard epoll_{epoll_create1(EPOLL_CLOEXEC)};
  std::optional<FdGuard> client_;
  LoginDesk desk_;
  Lines script_, told_;  // the script from its end
  bool other_;
  bool published_ = false;
};

Lines attempts(const Lines& words) {
  Attempts counted;
  const AttemptRate& rate = words[0] == "password" ? PASSWORD_RATE : ONE_KEY_RATE;
  Lines waits;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::int64_t now = (1000 + std::stoll(words[i])) * SECOND;
    waits.push_back(std::to_string(count_attempt(counted, rate, 1, now) / SECOND));
    EXPECT_EQ(0, count_attempt(counted, rate, 2 + std::uint32_t(i), now)) << "of another address";
  }
  return waits;
}

Lines token_ages(const Lines& ages) {
  const TokenKey key = make_token_key();
  const std::string token = make_token(key, 1, TokenUse::PAGE, 500);
  for (std::size_t i = 0; i < token.size(); ++i) {
    std::string other = token;
    ++other[i];
    EXPECT_FALSE(read_token(key, 1, other, 600)) << i;
    EXPECT_FALSE(read_token(key, 1, std::string(token, 0, i), 600)) << i;
  }
  EXPECT_FALSE(read_token(key, 2, token, 600)) << "another address";
  EXPECT_FALSE(read_token(make_token_key(), 1, token, 600)) << "another process";
  Lines seen;
  for (const std::string& age : ages) {
    const auto read = read_token(key, 1, token, 500 + std::stoi(age));
    seen.push_back(read && read->use == TokenUse::PAGE ? std::to_string(read->age) : "-");
  }
  return seen;
}

Lines judge(const std::string& rule, const Lines& in) {
  if (rule == "request") return request(in.at(0));
  if (rule == "form") return form(in.at(0));
  if (rule == "place") return place(in);
  if (rule == "attempts") return attempts(in);
  if (rule == "token") return token_ages(in);
  if (rule == "login") return ScriptedDaemon(in.at(0), {in.begin() + 1, in.end()}).run();
  if (rule == "language") {
    const auto languages = built_in_languages();
    return {languages[choose_language(languages, in.at(0))].tag};
  }
  if (rule == "listed") {
    const auto line = find_published_line(in.at(0), in.at(1));
    return line ? Lines{std::string(line->user), std::string(line->mac)} : Lines{};
  }
  if (rule == "account") write_file(ACCOUNTS, in.at(0));
  Lines chosen;
  const int names = rule == "account" ? 2 : rule == "broken-form" ? 0 : 1;
  for (auto text = in.begin() + names; text < in.end(); ++text) {
    bool is_chosen = rule == "broken-form" && !form(*text).empty();
    if (rule == "refused") is_chosen = refusal_of(request(*text)) != in[0];
    if (rule == "name") is_chosen = !may_be_name(rules_named(in[0]), *text);
    if (rule == "password") is_chosen = !may_be_password(rules_named(in[0]), *text);
    if (rule == "account")
      is_chosen = check_account(ACCOUNTS, in[1], *text) == AccountVerdict::RIGHT;
    if (rule == "room") {
      const auto mode = in[0] == "EMAIL" ? AuthMode::EMAIL : AuthMode::LOCAL;
      is_chosen = !has_room(LoginQueue(std::stoul(*text)), mode);
    }
    if (is_chosen) chosen.push_back(*text);
  }
  return chosen;
}

TEST(PortalRules, HoldAsWritten) {
  enter_sandbox();
  for (const std::string& line : lines_of(read_file(TEST_FOLDER "portal_rules.txt"))) {
    if (line.empty() || line[0] == '#') continue;
    const Lines words = words_of(line);
    const auto sign = std::find(words.begin(), words.end(), "=");
    ASSERT_NE(words.end(), sign) << line;
    EXPECT_EQ(Lines(sign + 1, words.end()), judge(words[0], {words.begin() + 1, sign})) << line;
  }
  EXPECT_EQ(AccountVerdict::UNREADABLE, check_account("/tmp", "alice", "secret"));
  EXPECT_EQ(AccountVerdict::UNREADABLE, check_account("/tmp/none", "alice", "secret"));
}

}  // namespace
}  // namespace webauth
