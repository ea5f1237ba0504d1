// Checks the rows of rules.txt, which says how they are to be read.
#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "common/clock.h"
#include "common/fd_guard.h"
#include "daemon/control/control_channel.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/access_policy.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/account_file.h"
#include "daemon/login/account_login.h"
#include "daemon/login/email_group.h"
#include "daemon/login/white_list.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/platform/settings_store.h"
#include "daemon/users/account_limit.h"
#include "daemon/users/kernel_events.h"
#include "daemon/users/published_line.h"
#include "daemon/wechat/host_name.h"
#include "daemon/wechat/walled_garden.h"
#include "gate/dns_answer.h"
#include "gate/message_text.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

constexpr char STORE[] = "/tmp/settings";
constexpr const char* LIMITS[] = {"none", "date", "daily"};

Lines texts(const auto&... values) {
  const auto text = [](const auto& value) { return (std::ostringstream() << value).str(); };
  return {text(values)...};
}

class Rules : public WorldTest {
 protected:
  Rules() {
    setenv("WEBAUTHD_SETTINGS", STORE, 1);
    netlink_fd = open_netlink_socket();
    auth_mode = AuthMode::USERS;
  }

  Lines judge(const std::string& rule, const Lines& in) {
    const std::string& text = in.at(0);
    const char* first = text.c_str();
    if (rule == "group") return group(text, in.at(1));
    if (rule == "encode") return encode(text);
    if (rule == "gate") return gate(text, in.at(1));
    if (rule == "dns") return dns(text, in.at(1));
    if (rule == "timeouts") return timeouts(text);
    if (rule == "daily") return daily(in);
    if (rule == "expiry") return expiry(std::stoi(text));
    if (rule == "given") return given_ += text, Lines();
    if (rule == "calendar")
      return texts(calendar_time(std::stoi(text), static_cast<std::time_t>(std::stoll(in.at(1)))));
    if (rule == "earlier") return texts(std::stoi(text) < std::stoi(in.at(1)));
    if (rule == "validity") {
      const AccountLimit limit = parse_validity(first);
      return texts(LIMITS[limit.type], limit.value);
    }
    if (rule == "account") {
      const OnlineUser user = read_account(text);
      return texts(user.user, user.note, LIMITS[user.limit_type], user.limit_value);
    }
    if (rule == "range") {
      const auto range = read_ip_range(first);
      if (!range) return {};
      return texts(ip_text(htonl(range->first)), range->last - range->first + 1);
    }
    if (rule == "white-list") {
      write_file("/tmp/list", text);
      return is_white_listed("/tmp/list", in.at(1)) ? Lines{"listed"} : Lines{};
    }
    if (rule == "garden") {
      push_garden_name(first);
      const Lines sent = effects("kernel");
      return sent.empty() ? sent : Lines{sent[0].substr(0, sent[0].find(':'))};
    }
    if (rule == "endpoint") {
      setenv("WEBAUTHD_KERNEL_PORT", first, 1);
      return texts(kernel_endpoint().protocol, kernel_endpoint().peer_port);
    }
    write_file(STORE, rule == "set" ? "A=1\n" : text);
    if (rule == "set") {
      const int set = nvram_set(first, in.at(1).c_str()), committed = nvram_commit();
      return texts(set, committed, read_file(STORE));
    }
    if (rule == "store") {
      const char* value = nvram_get(in.at(1).c_str());
      return value != nullptr ? Lines{value} : Lines{};
    }
    read_mail_server_settings();
    const int mode = static_cast<int>(read_auth_mode());
    return texts(mode, read_multi_user(), mail_server_port, mail_server_host);
  }

 private:
  static Lines group(const std::string& text, const std::string& address) {
    Lines results;
    for (const auto edit : {add_group_address, remove_group_address}) {
      std::string line = text + std::string(GROUP_LINE_ROOM, '\0');
      results.push_back(edit(line.data(), address) ? line.c_str() : "same");
    }
    return results;
  }

  static Lines encode(const std::string& name) {
    std::vector<char> output(name.size() + 2);
    EXPECT_EQ(-1, encode_dns_name(name.c_str(), output.data(), output.size() - 1)) << "no room";
    if (encode_dns_name(name.c_str(), output.data(), output.size()) != 0) return {};
    return {output.data()};
  }

  static Lines gate(const std::string& size, const std::string& text) {
    const bool whole = size == "-";
    std::string bytes;
    std::istringstream words((whole ? "178 0 0 77 168 " : "") + text);
    for (std::uint32_t word = 0; words >> std::hex >> word;) bytes += bytes_of(word);
    bytes.resize(std::stoul(whole ? "168" : size, nullptr, 16));
    const std::size_t all = bytes.size();
    const std::string printed = datagram_text({.bytes = bytes, .size = all}, 0x77).substr(0, 85);
    for (; !bytes.empty(); bytes.pop_back()) {  // nothing is read behind its end
      (void)datagram_text({.bytes = {std::string(bytes).c_str(), bytes.size()}, .size = all}, 0x77);
    }
    return {printed};
  }

  static Lines dns(const std::string& header, const std::string& records) {
    const std::string digits = "0000" + header + "00000000014101620000010001" + records;
    std::string bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
      bytes += static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16));
    }
    const DnsAnswer answer = read_dns_answer(bytes);
    Lines results{answer.name};
    for (const auto& [ip, ttl] : answer.addresses) {
      results.push_back(ip_text(ip) + "/" + std::to_string(ttl));
    }
    for (; !bytes.empty(); bytes.pop_back()) {  // nothing is read behind its end
      (void)read_dns_answer({std::string(bytes).c_str(), bytes.size()});
    }
    return results;
  }

  Lines timeouts(const std::string& mode) {
    write_file(STORE, given_ + "WEBAUTH_SECTYPE=" + mode);
    push_timeouts();
    std::istringstream words(effects("kernel").at(0));
    std::uint32_t command = 0, idle = 0, maximum = 0;
    words >> std::hex >> command >> idle >> maximum;
    return texts(idle, maximum);
  }

  // The account "u" with this validity, the only one.
  OnlineUser& make_account(const std::string& validity) {
    accounts_ = {}, online_users_ = {};
    append_user(accounts_, read_account("u password unused " + validity));
    return user_at(accounts_, 0);
  }

  // The reply, and what the kernel is told.
  Lines log_in(const char* ip) {
    int pair[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, pair) == 0, "socketpair");
    const FdGuard daemons(pair[0]), front_end(pair[1]);
    LoginRequest request{};
    std::memcpy(&request, login_request(ip, "m", "u").data(), sizeof request);
    login_local_account(daemons.get(), request, accounts_, online_users_);
    Lines seen = effects("kernel");
    seen.insert(seen.begin(), reply_to(front_end.get(), false));
    return seen;
  }

  // What the kernel is told at its event about 10.0.0.1.
  Lines event(std::uint32_t command) {
    KernelMessage message{};
    message.command = command;
    message.ip = inet_addr("10.0.0.1");
    handle_kernel_event(message, accounts_, online_users_);
    return effects("kernel");
  }

  // The used seconds are shown without the last digit.
  Lines daily(const Lines& in) {
    const std::time_t now = std::time(nullptr);
    std::tm day = *std::localtime(&now);
    day.tm_hour = day.tm_min = day.tm_sec = 0;
    const auto midnight = static_cast<std::int32_t>(std::mktime(&day));
    OnlineUser& account = make_account(in.at(0));
    account.logout_time = midnight - (in.at(1) == "today" ? 0 : 1);
    account.used_seconds = std::stoi(in.at(2));
    Lines seen = log_in("10.0.0.1");
    if (in.at(3) == "-") return seen;
    account.login_time -= std::stoi(in.at(4));
    if (in.at(3) == "offline") {
      event(ENTRY_OFFLINE);
    } else {
      CutIpMessage cut{.command = CTL_CUT_IP, .unused1{}, .ip = "10.0.0.1", .unused2{}};
      handle_control_message(std::bit_cast<ControlMessage>(cut), accounts_, online_users_);
    }
    effects();
    seen.push_back(std::to_string(account.used_seconds / 10));
    seen.push_back(now_seconds() - account.logout_time < 3 ? "now" : "earlier");
    return seen;
  }

  Lines expiry(std::int32_t days) {
    const std::int32_t today = local_date_key(std::time(nullptr));
    make_account("2000-1-1.").limit_value = today + days;
    event(ENTRY_ONLINE);
    Lines seen = log_in("10.0.0.2");
    for (const int later : {0, 1, 1}) {
      if (online_users_.users.size() < 2) return seen;
      change_user(online_users_, 1, [&](OnlineUser& user) {
        user.ip = "10.0.0.1";
        user.limit_value = today - later;
      });
      seen.push_back(std::to_string(event(CHECK_EXPIRY).size()));
    }
    seen.push_back(read_file(REGISTRATION_FILE));
    event(ENTRY_OFFLINE), event(ENTRY_OFFLINE);
    seen.push_back(std::to_string(online_users_.users.size()));
    return seen;
  }

  std::string given_;
  AccountTable accounts_;
  OnlineUserTable online_users_;
};

TEST_F(Rules, HoldAsWritten) {
  for (const std::string& line : lines_of(read_file(TEST_FOLDER "rules.txt"))) {
    if (line.empty() || line[0] == '#') continue;
    if (sizeof(std::time_t) == 4 && line.starts_with("calendar")) continue;  // it holds no more
    Lines words = words_of(line);
    int date[3];
    for (std::string& word : words) {
      if (std::sscanf(word.c_str(), "@%d-%d-%d", &date[0], &date[1], &date[2]) != 3) continue;
      word = std::to_string(date_key(date[0], date[1], date[2]));
    }
    const auto sign = std::find(words.begin(), words.end(), "=");
    ASSERT_NE(words.end(), sign) << line;
    for (const char* zone : {"UTC0", "AAA-13:45", "BBB+11:30"}) {  // one of them has another day
      setenv("TZ", zone, 1);
      tzset();
      EXPECT_EQ(Lines(sign + 1, words.end()), judge(words[0], {words.begin() + 1, sign})) << line;
    }
  }
}

}  // namespace
}  // namespace webauth
