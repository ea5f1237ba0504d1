// Plays the files of tests/rules: each line names a rule and its input, and behind the sign what
// must come of it; nothing there is a refusal. Words hold \n and \xNN; "@2025-12-31" stands for
// the key of that date. Blank lines and lines that begin with "#" separate.
#include <arpa/inet.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "common/clock.h"
#include "common/terminal_text.h"
#include "ctl/control_commands.h"
#include "ctl/login_command.h"
#include "ctl/operator_error.h"
#include "ctl/user_list.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/access_policy.h"
#include "daemon/login/account_file.h"
#include "daemon/login/email_group.h"
#include "daemon/login/white_list.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/platform/settings_store.h"
#include "daemon/users/account_limit.h"
#include "daemon/wechat/host_name.h"
#include "gate/gate_command.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

constexpr char STORE[] = "/tmp/settings";
constexpr const char* LIMITS[] = {"none", "date", "daily"};

Lines words_of(const auto&... values) {
  const auto text = [](const auto& value) { return (std::ostringstream() << value).str(); };
  return {text(values)...};
}

Lines edit_group(bool add, const std::string& before, const std::string& address) {
  std::string line = before;
  line.resize(before.size() + GROUP_LINE_ROOM);
  const bool changed = (add ? add_group_address : remove_group_address)(line.data(), address);
  line = line.c_str();
  EXPECT_EQ(changed, line != before);
  return changed ? Lines{line} : Lines{};
}

Lines encode(const std::string& name) {
  std::vector<char> output(name.size() + 2);
  EXPECT_EQ(-1, encode_dns_name(name.c_str(), output.data(), output.size() - 1)) << "no room";
  if (encode_dns_name(name.c_str(), output.data(), output.size()) != 0) return {};
  return {output.data()};
}

Lines tool_result(const std::string& rule, const Lines& in) {
  const std::string& text = in.at(0);
  if (rule == "gate") {
    std::string problem;
    const auto command = parse_gate_command(text, problem);
    return {command ? event_text(*command->event) : problem.substr(0, problem.find(';'))};
  }
  if (rule == "listed") {
    const UserList list = parse_user_list(text);
    if (list.malformed == 1 && list.users.empty()) return {};
    const ListedUser& user = list.users.at(0);
    return words_of(user.user, user.ip, user.mac, user.login_time,
                    static_cast<int>(user.mode));
  }
  if (rule == "json") return {user_json(parse_user_list(text))};
  if (rule == "terminal") return {terminal_text(text)};
  try {
    if (rule == "validity-argument") return {validity_field_text(text)};
    if (rule == "delete-argument") return {make_delete_account(text).user};
    if (rule == "add-arguments") {
      return {make_add_account({.user = text, .password = in.at(1), .note = ""}).user};
    }
    if (rule == "login-arguments") {
      LoginOptions login;
      login.ip = text, login.mac = in.at(1), login.password = in.at(2);
      return {make_login_request(login).mac};
    }
  } catch (const OperatorError&) {
    return {};
  }
  return {"no such rule"};
}

Lines result(const std::string& rule, const Lines& in) {
  const char* text = in.empty() ? nullptr : in[0].c_str();
  if (rule == "earlier") return words_of(std::stoi(in.at(0)) < std::stoi(in.at(1)));
  if (rule == "group") return edit_group(in.at(0) == "add", in.at(1), in.at(2));
  if (rule == "encode") return encode(in.at(0));
  if (rule == "calendar") {
    const auto now = static_cast<std::time_t>(std::stoll(in.at(1)));
    return words_of(calendar_time(std::stoi(in.at(0)), now));
  }
  if (rule == "validity") {
    const AccountLimit limit = parse_validity(text);
    return words_of(LIMITS[limit.type], limit.value);
  }
  if (rule == "account") {
    const OnlineUser user = read_account(text);
    return words_of(user.user, user.note, LIMITS[user.limit_type], user.limit_value);
  }
  if (rule == "range") {
    const auto range = read_ip_range(text);
    if (!range) return {};
    return words_of(ip_text(htonl(range->first)), range->last - range->first + 1);
  }
  if (rule == "mac") {
    const auto mac = read_mac(text);
    return mac ? Lines{mac_text(*mac)} : Lines{};
  }
  if (rule == "white-list") {
    write_file(STORE, in.at(0));
    return is_white_listed(STORE, in.at(1)) ? Lines{"listed"} : Lines{};
  }
  if (rule == "store" || rule == "settings") write_file(STORE, in.at(0));
  if (rule == "store") {
    const char* value = nvram_get(in.at(1).c_str());
    return value != nullptr ? Lines{value} : Lines{};
  }
  if (rule == "set") {
    write_file(STORE, "A=1\n");
    const int set = nvram_set(in.at(0).c_str(), in.at(1).c_str());
    const int committed = nvram_commit();
    return words_of(set, committed, read_file(STORE));
  }
  if (rule == "settings") {
    read_mail_server_settings();
    const int mode = static_cast<int>(read_auth_mode());
    return words_of(mode, read_multi_user(), mail_server_port, mail_server_host);
  }
  if (rule == "endpoint") {
    text == nullptr ? unsetenv("WEBAUTHD_KERNEL_PORT") : setenv("WEBAUTHD_KERNEL_PORT", text, 1);
    const KernelEndpoint endpoint = kernel_endpoint();
    return words_of(endpoint.protocol, endpoint.peer_port);
  }
  return tool_result(rule, in);
}

std::string meaning(std::string word) {
  int year = 0, month = 0, day = 0;
  if (std::sscanf(word.c_str(), "@%d-%d-%d", &year, &month, &day) == 3) {
    return std::to_string(date_key(year, month, day));
  }
  for (std::size_t at = 0; (at = word.find('\\', at)) != std::string::npos; ++at) {
    const bool number = word.at(at + 1) == 'x';
    const int byte = number ? std::stoi(word.substr(at + 2, 2), nullptr, 16) : '\n';
    word.replace(at, number ? 4 : 2, 1, static_cast<char>(byte));
  }
  return word;
}

TEST(Rules, HoldAsWritten) {
  setenv("WEBAUTHD_SETTINGS", STORE, 1);
  for (const auto& entry : std::filesystem::directory_iterator(RULES_FOLDER)) {
    std::ifstream file(entry.path());
    for (std::string line; std::getline(file, line);) {
      if (line.empty() || line[0] == '#') continue;
      std::istringstream stream(line);
      Lines words;
      for (std::string word; stream >> std::quoted(word, '"', '\0');) words.push_back(word);
      for (std::string& word : words) word = meaning(word);
      const auto sign = std::find(words.begin(), words.end(), "=");
      ASSERT_NE(words.end(), sign) << line;
      EXPECT_EQ(Lines(sign + 1, words.end()), result(words[0], {words.begin() + 1, sign})) << line;
    }
  }
}

}  // namespace
}  // namespace webauth
