#include "ctl/check_command.h"

#include <algorithm>
#include <ctime>
#include <iostream>
#include <numeric>

#include "ctl/account_lines.h"
#include "ctl/address_lines.h"
#include "ctl/check_names.h"
#include "ctl/check_settings.h"
#include "ctl/exit_status.h"
#include "ctl/piece_file.h"
#include "ctl/setting.h"
#include "daemon/core/setting_values.h"
#include "daemon/kernel/access_list.h"
#include "daemon/login/account_line.h"
#include "daemon/login/white_list.h"
#include "daemon/wechat/garden_name.h"

namespace webauth {
namespace {

// Of one file: what is said about it, and what stands in it.
struct Checked {
  Findings findings;
  std::size_t count = 0;
};

Checked check_accounts(std::FILE* file) {
  Checked checked;
  const bool several = means_multi_user(setting("WEBAUTH_MULTIUSER"));
  for (const AccountReading& account : read_account_lines(file, several, std::time(nullptr))) {
    for (const std::string& fault : account.faults) {
      checked.findings.push_back({account.line, fault});
    }
    ++checked.count;
  }
  return checked;
}

Checked check_addresses(const AddressLines& lines) {
  Checked checked;
  for (const AddressLine& line : lines) {
    if (!line.fault.empty()) checked.findings.push_back({line.line, line.fault});
    checked.count += line.count;
  }
  return checked;
}

Checked check_macs(std::FILE* file) { return check_addresses(read_mac_lines(file)); }

Checked check_ips(std::FILE* file) { return check_addresses(read_ip_lines(file)); }

Checked check_white(std::FILE* file) {
  Checked checked;
  checked.findings = check_white_list(file, checked.count);
  return checked;
}

Checked check_garden(std::FILE* file) {
  Checked checked;
  checked.findings = check_garden_names(file, checked.count);
  return checked;
}

struct CheckedFile {
  const char* path;
  Checked (*check)(std::FILE*);
  const char* counted;  ///< what stands in it
  bool (*is_needed)();  ///< whether nobody can log in without it
  const char* when_missing;
};

bool never() { return false; }

bool needs_accounts() { return configured_mode().method == LoginMethod::ACCOUNT; }

bool needs_white_list() {
  return configured_mode().method == LoginMethod::MAIL &&
         setting("EMAIL_ENABLE_WHITE_LIST") == "YES";
}

constexpr CheckedFile FILES[] = {
    {ACCOUNT_FILE, check_accounts, "accounts", needs_accounts, "nobody can log in in mode USERS"},
    {MAC_LIST_FILE, check_macs, "MAC addresses", never, ""},
    {IP_LIST_FILE, check_ips, "IP addresses", never, ""},
    {WHITE_LIST_FILE, check_white, "names on the white list", needs_white_list,
     "nobody can log in while EMAIL_ENABLE_WHITE_LIST is YES"},
    {GARDEN_NAME_FILE, check_garden, "names of the garden", never, ""},
};

// Sorted by line, since a file is read from its beginning.
std::size_t print_findings(const char* path, Findings findings) {
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& a, const Finding& b) { return a.line < b.line; });
  for (const Finding& finding : findings) {
    std::cout << path;
    if (finding.line > 0) std::cout << ':' << finding.line;
    std::cout << ": " << finding.words << '\n';
  }
  return findings.size();
}

// Returns what stands in the file, for the summary.
std::string check_file(const CheckedFile& file, std::size_t& found) {
  const PieceFile pieces = open_pieces(file.path);
  Checked checked;
  if (pieces.state == FileState::READABLE) {
    checked = file.check(pieces.file.get());
  } else if (pieces.state == FileState::UNREADABLE) {
    checked.findings = {{0, "cannot be read (" + pieces.problem + "): it counts as missing"}};
  } else if (file.is_needed()) {
    checked.findings = {{0, std::string("missing: ") + file.when_missing}};
  }
  found += print_findings(file.path, std::move(checked.findings));
  return std::string("; ") + file.counted + ": " + std::to_string(checked.count);
}

}  // namespace

int run_check() {
  std::size_t found = print_findings(settings_path(), check_settings());
  std::string summary =
      nvram_open() ? std::string("mode ") + configured_mode().text : "no settings";
  for (const CheckedFile& file : FILES) summary += check_file(file, found);
  std::cout << summary << "; findings: " << found << '\n';
  return found == 0 ? STATUS_DONE : STATUS_ERROR;
}

}  // namespace webauth
