#include "ctl/start_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "ctl/exit_status.h"
#include "ctl/gate_state.h"
#include "ctl/setting.h"
#include "daemon/control/control_message.h"
#include "daemon/core/setting_values.h"
#include "daemon/login/login_record.h"
#include "daemon/platform/kernel_endpoint.h"

namespace webauth {
namespace {

using Reasons = std::vector<std::string>;

void find_in_settings(Reasons& reasons) {
  if (!nvram_open()) {
    reasons.push_back(std::string(settings_path()) +
                      " cannot be read: without its settings the daemon would admit everybody");
    return;
  }
  if (configured_mode().method != LoginMethod::MAIL) return;
  if (setting("WEBAUTH_POP3SERVER").size() >= MAIL_HOST_SIZE) {
    reasons.emplace_back("WEBAUTH_POP3SERVER is too long");
  }
  if (setting("WEBAUTH_POP3SPORT").size() >= MAIL_PORT_SIZE) {
    reasons.emplace_back("WEBAUTH_POP3SPORT is too long");
  }
}

void find_at_socket(const char* path, Reasons& reasons) {
  struct stat status {};
  if (lstat(path, &status) == 0 && S_ISDIR(status.st_mode)) {
    reasons.push_back(std::string(path) + " is a directory: the socket has no place");
  }
  std::string folder(path);
  folder.resize(folder.rfind('/'));
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    reasons.push_back("no socket can be made in " + folder + ": " + std::strerror(errno));
  }
}

void find_at_kernel(Reasons& reasons) {
  const KernelEndpoint endpoint = kernel_endpoint();
  if (has_netlink_socket(endpoint.protocol, endpoint.peer_port)) return;
  const std::string gate = std::to_string(GATE_PORT);
  if (endpoint.protocol == NETLINK_WEBAUTH) {
    reasons.push_back("the web-auth kernel module is not loaded; with webauth-gate in its place, " +
                      ("set WEBAUTHD_KERNEL_PORT=" + gate + " in /etc/default/webauthd"));
  } else if (endpoint.peer_port == GATE_PORT) {
    reasons.emplace_back("webauth-gate is not running");
  } else {
    reasons.push_back("nobody has netlink port " + std::to_string(endpoint.peer_port) +
                      ", which WEBAUTHD_KERNEL_PORT names; webauth-gate has " + gate);
  }
}

}  // namespace

int run_start_check() {
  Reasons reasons;
  find_in_settings(reasons);
  find_at_socket(LOGIN_SOCKET_PATH, reasons);
  find_at_socket(CONTROL_SOCKET_PATH, reasons);
  find_at_kernel(reasons);
  for (const std::string& reason : reasons) std::cout << "cannot start: " << reason << '\n';
  if (!reasons.empty()) return STATUS_ERROR;
  std::cout << "nothing keeps the daemon from starting now\n";
  return STATUS_DONE;
}

}  // namespace webauth
