// A line of each file that is read: accounts, MAC and IP addresses, the e-mail group, host names,
// the white list.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/address_text.h"
#include "daemon/kernel/access_policy.h"
#include "daemon/login/account_file.h"
#include "daemon/login/email_group.h"
#include "daemon/login/white_list.h"
#include "daemon/wechat/host_name.h"

using namespace webauth;

static void demand(bool holds) {
  if (!holds) std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line(reinterpret_cast<const char*>(data), size);
  const OnlineUser account = read_account(line.c_str());
  demand(account.user.size() <= 63 && account.note.size() <= 63);
  demand(account.user.find_first_of(" \n") != 0);
  if (const auto mac = read_mac(line.c_str())) demand(read_mac(mac_text(*mac).c_str()) == mac);
  const auto range = read_ip_range(line.c_str());
  demand(!range || range->last - range->first < LONGEST_RANGE);

  // Whatever the group holds, an address that went in comes out again.
  std::string group = line;
  const bool added = add_group_address(group, "10.0.0.1");
  demand(added || group == line);
  demand(!added || !add_group_address(group, "10.0.0.1"));
  demand(!added || remove_group_address(group, "10.0.0.1"));
  remove_group_address(group, "10.0.0.2");

  // The white list is one more file; its first entry is listed unless it fills a piece.
  static const int file = memfd_create("list", 0);
  static const std::string path = "/proc/self/fd/" + std::to_string(file);
  demand(ftruncate(file, 0) == 0 && pwrite(file, line.data(), size, 0) >= 0);
  const std::string_view entry = white_list_entry(line.c_str());
  demand(size == 0 || is_white_listed(path.c_str(), entry) == (entry.size() < 50));
  demand(!is_white_listed(path.c_str(), "two words"));

  // An encoding has room in the name and two bytes, and its labels add up to it.
  const std::string name = line.substr(0, line.find('\n')).c_str();
  std::vector<char> encoded(name.size() + 2);
  if (encode_dns_name(name.c_str(), encoded.data(), encoded.size()) != 0) return 0;
  std::size_t at = 0;
  while (encoded[at] != '\0') at += 1U + static_cast<unsigned char>(encoded[at]);
  demand(at < encoded.size() && at == std::strlen(encoded.data()));
  return 0;
}
