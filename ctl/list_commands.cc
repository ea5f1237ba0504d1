#include "ctl/list_commands.h"

#include <iostream>

#include "common/fd_guard.h"
#include "ctl/account_lines.h"
#include "ctl/address_lines.h"
#include "ctl/daemon_socket.h"
#include "ctl/line_file.h"
#include "ctl/operator_error.h"
#include "ctl/padded.h"
#include "ctl/piece_file.h"
#include "ctl/record_field.h"
#include "ctl/setting.h"
#include "daemon/core/setting_values.h"
#include "daemon/kernel/access_list.h"
#include "daemon/login/account_line.h"

namespace webauth {
namespace {

constexpr mode_t LIST_FILE_MODE = 0644;

bool has_mac(std::string_view line, const MacAddress& mac) {
  return read_mac(std::string(line).c_str()) == mac;
}

void save_mac(const std::string& text, bool allow) {
  const MacAddress mac = *parse_mac(text);
  const auto is_same = [&](std::string_view line) { return has_mac(line, mac); };
  (void)edit_file(MAC_LIST_FILE, allow ? LIST_FILE_MODE : 0, [&](std::string& file) {
    if (!allow) return remove_lines(file, is_same) > 0;
    if (find_line(file, is_same) > 0) return false;
    append_line(file, mac_text(mac));
    return true;
  });
}

/// A missing file is an empty one.
PieceFile open_list(const char* path) {
  PieceFile pieces = open_pieces(path);
  if (pieces.state != FileState::UNREADABLE) return pieces;
  throw OperatorError(std::string("cannot read ") + path + ": " + pieces.problem);
}

int print_addresses(const char* path, AddressLines (*read)(std::FILE*)) {
  const PieceFile pieces = open_list(path);
  std::cout << padded("LINE", 5) << padded("LETS THROUGH", 31) << "REMARK\n";
  if (!pieces.file) return STATUS_DONE;
  for (const AddressLine& line : read(pieces.file.get())) {
    const std::string meaning = line.meaning.empty() ? "-" : line.meaning;
    std::cout << padded(std::to_string(line.line), 5)
              << (line.fault.empty() ? meaning : padded(meaning, 31) + line.fault) << '\n';
  }
  return STATUS_DONE;
}

template <typename Record>
int run_mac(const MacOptions& options, ControlCommand command) {
  Record message{};
  message.command = command;
  fill_mac(message.mac, options.mac);
  if (options.save) {
    save_mac(options.mac, command == CTL_ALLOW_MAC);
    if (!daemon_runs()) {
      std::cout << "saved; the daemon is not running and reads it at its start\n";
      return STATUS_DONE;
    }
  }
  const FdGuard control(open_control_socket());
  send_control(control.get(), message);
  std::cout << (options.save ? "saved and sent\n" : "sent\n");
  return STATUS_DONE;
}

}  // namespace

int run_allow_mac(const MacOptions& options) {
  return run_mac<AllowMacMessage>(options, CTL_ALLOW_MAC);
}

int run_remove_mac(const MacOptions& options) {
  return run_mac<RemoveMacMessage>(options, CTL_REMOVE_MAC);
}

int run_list_accounts() {
  const bool several = nvram_open() && means_multi_user(setting("WEBAUTH_MULTIUSER"));
  const PieceFile pieces = open_list(ACCOUNT_FILE);
  std::cout << padded("LINE", 5) << padded("PASSWORD", 8) << padded("MEANS", 46) << "NAME\n";
  if (!pieces.file) return STATUS_DONE;
  for (const AccountReading& account :
       read_account_lines(pieces.file.get(), several, std::time(nullptr))) {
    std::cout << padded(std::to_string(account.line), 5) << padded(account.password, 8)
              << padded(account.meaning, 46) << account.name << '\n';
  }
  return STATUS_DONE;
}

int run_list_macs() { return print_addresses(MAC_LIST_FILE, read_mac_lines); }

int run_list_ips() { return print_addresses(IP_LIST_FILE, read_ip_lines); }

}  // namespace webauth
