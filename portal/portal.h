// Everything that the portal knows while it serves. Its routes (routes.h, login_route.h) change it;
// one thread does all. Times are microseconds of the steady clock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "daemon/core/auth_mode.h"
#include "daemon/login/account_line.h"
#include "portal/branding.h"
#include "portal/connection_server.h"
#include "portal/form_token.h"
#include "portal/lan.h"
#include "portal/login_desk.h"
#include "portal/portal_log.h"
#include "portal/published_list.h"
#include "portal/rate_limit.h"

namespace webauth {

struct PortalOptions {
  std::string lan;
  std::uint16_t port = 8080;
  std::uint16_t tls_port = 8443;
  std::string name;         ///< host name of the certificate; empty: no TLS
  std::string certificate;  ///< PEM files
  std::string key;
  std::string config = "/etc/webauth-portal";
};

/// For whom a page is made.
struct Viewer {
  std::uint32_t ip;
  std::size_t language;  ///< in the branding
  bool is_tls;
};

/// A visitor whose browser waits for the daemon.
struct Waiting {
  enum What { LOGIN, LOGOUT } what;
  ConnectionId id;
  Viewer viewer;
  MacAddress mac;
  std::int64_t until;
  std::string user;          ///< as typed, to be shown again
  bool is_cut_sent = false;  ///< of a LOGOUT
};

/// What must be told to an address with its next page.
struct Note {
  std::optional<LoginOutcome> late;  ///< of a login that failed when nobody waited any more
  std::int64_t stuck_until = 0;      ///< seen with traffic that should not come here
  std::int64_t expires = 0;
};

struct Portal {
  PortalOptions options;
  Lan lan;
  std::int64_t lan_read_at = 0;
  std::vector<std::string> hosts;  ///< that are ours
  std::string url;                 ///< where visitors are sent: scheme://host:port/
  Branding branding;
  TokenKey token_key{};
  ConnectionServer server;
  PublishedList list;
  const char* account_file = ACCOUNT_FILE;
  Attempts password_attempts;
  Attempts one_key_attempts;
  LoginDesk desk;
  std::vector<Waiting> waiting;
  std::unordered_map<std::uint32_t, Note> notes;
  PortalLog log;
  int neighbours = -1;
  bool was_list_readable = true;
  bool were_accounts_readable = true;
};

/// A setting as it stands now; empty when it is missing.
const char* setting_now(const char* key);

/// The mode as the settings have it now.
const ModeRow& current_mode();

/// The networks as they are now, or were a moment ago.
const Lan& current_lan(Portal& portal);

/// The line of a client in the published list, if it is this client's: an address that was handed
/// on has another MAC address. Without `mac`, what the neighbour table has counts.
std::optional<PublishedLine> find_session(Portal& portal, std::uint32_t ip, const MacAddress& mac);
std::optional<PublishedLine> find_session(Portal& portal, std::uint32_t ip);

/// Whether the address is in the list with another MAC address.
bool is_handed_on(Portal& portal, std::uint32_t ip, const MacAddress& mac);

/// Seconds until the maximum online time ends a session; nothing without a maximum.
std::optional<std::int64_t> seconds_left(const PublishedLine& session);

/// The note of an address, a new one when there is none.
Note& note_of(Portal& portal, std::uint32_t ip);

}  // namespace webauth
