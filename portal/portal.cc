#include "portal/portal.h"

#include <syslog.h>

#include <algorithm>

#include "common/address_input.h"
#include "common/clock.h"
#include "daemon/core/setting_values.h"
#include "daemon/platform/settings_store.h"

namespace webauth {
namespace {

constexpr std::int64_t LAN_AGE = 2'000'000;
constexpr std::int64_t NOTE_AGE = 600'000'000;
constexpr std::size_t MOST_NOTES = 1024;

std::optional<PublishedLine> find_line(Portal& portal, std::uint32_t ip) {
  const auto line = find_published(portal.list, ip);
  if (portal.was_list_readable && !portal.list.is_readable) {
    log_line(portal.log, LOG_ERR, portal.list.path + " cannot be read");
  }
  portal.was_list_readable = portal.list.is_readable;
  return line;
}

}  // namespace

const char* setting_now(const char* key) {
  const char* value = nvram_get(key);
  return value != nullptr ? value : "";
}

const ModeRow& current_mode() {
  const ModeRow* row = find_mode(setting_now("WEBAUTH_SECTYPE"));
  return row != nullptr ? *row : mode_row(AuthMode::LOCAL);
}

const Lan& current_lan(Portal& portal) {
  const std::int64_t now = steady_microseconds();
  if (now - portal.lan_read_at > LAN_AGE) {
    portal.lan = read_lan(portal.options.lan);
    portal.lan_read_at = now;
  }
  return portal.lan;
}

std::optional<PublishedLine> find_session(Portal& portal, std::uint32_t ip, const MacAddress& mac) {
  const auto line = find_line(portal, ip);
  if (!line || parse_mac(line->mac) != mac) return {};
  return line;
}

std::optional<PublishedLine> find_session(Portal& portal, std::uint32_t ip) {
  const auto line = find_line(portal, ip);
  if (!line) return {};  // as of most who ask
  if (parse_mac(line->mac) != visitor_mac(current_lan(portal), portal.neighbours, ip)) return {};
  return line;
}

bool is_handed_on(Portal& portal, std::uint32_t ip, const MacAddress& mac) {
  const auto line = find_line(portal, ip);
  return line && parse_mac(line->mac) != mac;
}

std::optional<std::int64_t> seconds_left(const PublishedLine& session) {
  const ModeRow* mode = find_mode(setting_now("WEBAUTH_SECTYPE"));
  const TimeoutKeys& keys = mode != nullptr ? mode->timeouts : GENERIC_TIMEOUTS;
  const std::int64_t maximum =
      timeout_seconds(setting_now(keys.maximum), DEFAULT_MAXIMUM, keys.maximum_for_0);
  if (maximum == 0) return {};
  const std::int64_t gone = seconds_between(session.login_time, now_seconds());
  return std::clamp<std::int64_t>(maximum - gone, 0, maximum);
}

Note& note_of(Portal& portal, std::uint32_t ip) {
  const std::int64_t now = steady_microseconds();
  auto& notes = portal.notes;
  if (notes.size() >= MOST_NOTES && !notes.contains(ip)) {
    if (std::erase_if(notes, [&](const auto& note) { return note.second.expires <= now; }) == 0) {
      notes.erase(std::min_element(notes.begin(), notes.end(), [](const auto& a, const auto& b) {
        return a.second.expires < b.second.expires;
      }));
    }
  }
  Note& note = notes[ip];
  note.expires = now + NOTE_AGE;
  return note;
}

}  // namespace webauth
