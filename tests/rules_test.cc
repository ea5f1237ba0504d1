// Checks the rows of rules.txt, which says how they are to be read.
#include <arpa/inet.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "common/terminal_text.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/access_policy.h"
#include "daemon/kernel/transport.h"
#include "daemon/login/account_file.h"
#include "daemon/login/email_group.h"
#include "daemon/login/white_list.h"
#include "daemon/platform/kernel_endpoint.h"
#include "daemon/platform/settings_store.h"
#include "daemon/users/account_limit.h"
#include "daemon/wechat/host_name.h"
#include "daemon/wechat/walled_garden.h"
#include "gate/message_text.h"
#include "tests/support/script.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

constexpr char STORE[] = "/tmp/settings";
constexpr const char* LIMITS[] = {"none", "date", "daily"};

Lines texts(const auto&... values) {
  const auto text = [](const auto& value) { return (std::ostringstream() << value).str(); };
  return {text(values)...};
}

Lines account(const Lines& in) {
  const OnlineUser user = read_account(in.at(0));
  return texts(user.user, user.note, LIMITS[user.limit_type], user.limit_value);
}

Lines range(const Lines& in) {
  const auto range = read_ip_range(in.at(0).c_str());
  if (!range) return {};
  return texts(ip_text(htonl(range->first)), range->last - range->first + 1);
}

Lines group(const Lines& in) {
  Lines results;
  for (const auto edit : {add_group_address, remove_group_address}) {
    std::string line = in.at(0) + std::string(GROUP_LINE_ROOM, '\0');
    results.push_back(edit(line.data(), in.at(1)) ? line.c_str() : "same");
  }
  return results;
}

Lines encode(const Lines& in) {
  std::vector<char> output(in.at(0).size() + 2);
  EXPECT_EQ(-1, encode_dns_name(in[0].c_str(), output.data(), output.size() - 1)) << "no room";
  if (encode_dns_name(in[0].c_str(), output.data(), output.size()) != 0) return {};
  return {output.data()};
}

Lines settings(const Lines& in) {
  write_file(STORE, in.at(0));
  read_mail_server_settings();
  const int mode = static_cast<int>(read_auth_mode());
  return texts(mode, read_multi_user(), mail_server_port, mail_server_host);
}

Lines set(const Lines& in) {
  write_file(STORE, "A=1\n");
  const int set = nvram_set(in.at(0).c_str(), in.at(1).c_str());
  const int committed = nvram_commit();
  return texts(set, committed, read_file(STORE));
}

Lines endpoint(const Lines& in) {
  setenv("WEBAUTHD_KERNEL_PORT", in.at(0).c_str(), 1);
  const KernelEndpoint endpoint = kernel_endpoint();
  return texts(endpoint.protocol, endpoint.peer_port);
}

Lines gate(const Lines& in) {
  Datagram datagram{.bytes = {}, .size = 0, .sender_port = 0x77, .from_us = true};
  const bool whole = in.at(0) == "-";
  datagram.size = std::stoul(whole ? "168" : in.at(0), nullptr, 16);
  std::istringstream words((whole ? "178 0 0 77 168 " : "") + in.at(1));
  for (std::uint32_t word = 0; words >> std::hex >> word;) {
    for (const char byte : bytes_of(word))
      datagram.bytes.push_back(static_cast<unsigned char>(byte));
  }
  datagram.bytes.resize(datagram.size);
  const std::string text = datagram_text(datagram);
  while (!datagram.bytes.empty()) {  // whatever its lengths say, nothing is read behind its end
    datagram.bytes.pop_back();
    (void)datagram_text(datagram);
  }
  return {text.substr(0, 85)};
}

class Rules : public WorldTest {
 protected:
  // What the kernel side gets of a call.
  Lines timeouts(const Lines& in) {
    write_file(STORE, given_ + "WEBAUTH_SECTYPE=" + in.at(0));
    push_timeouts();
    std::istringstream words(kernel().at(0));
    std::uint32_t command = 0, idle = 0, maximum = 0;
    words >> std::hex >> command >> idle >> maximum;
    return texts(idle, maximum);
  }

  Lines garden(const Lines& in) {
    push_garden_name(in.at(0).c_str());
    const Lines sent = kernel();
    return sent.empty() ? sent : Lines{sent[0].substr(0, sent[0].find(':'))};
  }

  std::string given_;
  const std::map<std::string, std::function<Lines(const Lines&)>> rules_ = {
      {"account", account},
      {"range", range},
      {"group", group},
      {"encode", encode},
      {"settings", settings},
      {"set", set},
      {"endpoint", endpoint},
      {"gate", gate},
      {"timeouts", [this](const Lines& in) { return timeouts(in); }},
      {"garden", [this](const Lines& in) { return garden(in); }},
      {"given", [this](const Lines& in) { return given_ += in.at(0), Lines(); }},
      {"terminal", [](const Lines& in) { return Lines{terminal_text(in.at(0))}; }},
      {"earlier", [](const Lines& in) { return texts(std::stoi(in.at(0)) < std::stoi(in.at(1))); }},
      {"validity",
       [](const Lines& in) {
         const AccountLimit limit = parse_validity(in.at(0).c_str());
         return texts(LIMITS[limit.type], limit.value);
       }},
      {"mac",
       [](const Lines& in) {
         const auto mac = read_mac(in.at(0).c_str());
         return mac ? Lines{mac_text(*mac)} : Lines{};
       }},
      {"white-list",
       [](const Lines& in) {
         write_file("/tmp/list", in.at(0));
         return is_white_listed("/tmp/list", in.at(1)) ? Lines{"listed"} : Lines{};
       }},
      {"store",
       [](const Lines& in) {
         write_file(STORE, in.at(0));
         const char* value = nvram_get(in.at(1).c_str());
         return value != nullptr ? Lines{value} : Lines{};
       }},
  };
};

std::string with_date_keys(const std::string& word) {
  int year = 0, month = 0, day = 0;
  if (std::sscanf(word.c_str(), "@%d-%d-%d", &year, &month, &day) != 3) return word;
  return std::to_string(date_key(year, month, day));
}

TEST_F(Rules, HoldAsWritten) {
  setenv("WEBAUTHD_SETTINGS", STORE, 1);
  netlink_fd = open_netlink_socket();
  std::ifstream file(TEST_FOLDER "rules.txt");
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] == '#') continue;
    Lines words = words_of(line);
    std::transform(words.begin(), words.end(), words.begin(), with_date_keys);
    const auto sign = std::find(words.begin(), words.end(), "=");
    ASSERT_NE(words.end(), sign) << line;
    EXPECT_EQ(Lines(sign + 1, words.end()), rules_.at(words[0])({words.begin() + 1, sign})) << line;
  }
}

}  // namespace
}  // namespace webauth
