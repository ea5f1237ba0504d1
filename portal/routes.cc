#include "portal/routes.h"

#include <algorithm>

#include "common/clock.h"
#include "portal/answers.h"
#include "portal/login_route.h"
#include "portal/posted_form.h"

namespace webauth {
namespace {

constexpr char CAPTIVE_PATH[] = "/api/captive";
constexpr char CAPTIVE_TYPE[] = "application/captive+json";  // RFC 8908

constexpr std::int32_t SETTLING_SECONDS = 5;       // connections from before the login
constexpr std::int64_t STUCK_MEMORY = 60'000'000;  // microseconds

// An online visitor's requests to others should not come here any more.
void note_stray_request(Portal& portal, std::uint32_t ip) {
  if (!is_visitor(current_lan(portal), ip)) return;
  const auto session = find_session(portal, ip);
  if (!session || seconds_between(session->login_time, now_seconds()) <= SETTLING_SECONDS) return;
  note_of(portal, ip).stuck_until = steady_microseconds() + STUCK_MEMORY;
}

Response front_page(Portal& portal, const Visit& visit) {
  const Viewer viewer = viewer_of(portal, visit);
  if (is_queued(portal.desk.queue, visit.ip)) return waiting_answer(portal, viewer);
  const auto note = portal.notes.find(visit.ip);
  const bool has_note = note != portal.notes.end();
  const std::int64_t now = steady_microseconds();
  if (const auto session = find_session(portal, visit.ip)) {
    if (has_note && note->second.stuck_until > now) return stuck_answer(portal, viewer);
    return session_answer(portal, viewer, *session);
  }
  LoginAnswer answer;
  if (has_note && note->second.late && note->second.expires > now) {
    answer.message = outcome_text(*note->second.late);
  }
  if (has_note && visit.request.method == Method::GET) portal.notes.erase(note);
  return login_answer(portal, viewer, answer);
}

Response captive_answer(Portal& portal, const Visit& visit) {
  const auto session = find_session(portal, visit.ip);
  Response response{.type = CAPTIVE_TYPE};
  response.body = std::string("{\"captive\":") + (session ? "false" : "true") +
                  ",\"user-portal-url\":\"" + portal.url + '"';
  if (const auto left = session ? seconds_left(*session) : std::nullopt) {
    response.body += ",\"seconds-remaining\":" + std::to_string(*left);
  }
  response.body += "}\n";
  return response;
}

}  // namespace

std::optional<Response> judge_request(Portal& portal, const Visit& visit) {
  const Request& request = visit.request;
  if (!is_our_host(portal, request.host)) {
    note_stray_request(portal, visit.ip);
    return redirect_response(302, portal.url);
  }
  if (!is_visitor(current_lan(portal), visit.ip)) {
    log_refusal(portal.log, Cause::OUTSIDE, visit.ip, steady_microseconds());
    return plain_response(403);
  }
  if (portal.server.tls && !visit.tls) {
    if (request.path == CAPTIVE_PATH) return plain_response(404);
    return redirect_response(request.method == Method::POST ? 303 : 302, portal.url);
  }
  if (request.body_status != 0) return plain_response(request.body_status);
  return {};
}

std::optional<Response> serve_request(Portal& portal, const Visit& visit) {
  const Request& request = visit.request;
  if (request.method == Method::POST) {
    if (request.path == "/login") return serve_login(portal, visit);
    if (request.path == "/logout") return serve_logout(portal, visit);
    return plain_response(404);
  }
  if (request.path == "/") return front_page(portal, visit);
  if (request.path == "/login" || request.path == "/logout") return front_page_redirect();
  if (request.path == CAPTIVE_PATH && visit.tls) return captive_answer(portal, visit);
  return plain_response(404);
}

}  // namespace webauth
