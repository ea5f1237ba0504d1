#include "portal/posted_form.h"

#include <algorithm>

#include "common/clock.h"
#include "portal/answers.h"

namespace webauth {
namespace {

bool is_own_origin(const Portal& portal, const Request& request) {
  if (request.has_origin) {
    const std::size_t colon = request.origin.find("://");
    if (colon == std::string_view::npos) return false;
    if (!is_our_host(portal, request.origin.substr(colon + 3))) return false;
  }
  const std::string_view site = request.fetch_site;
  return site.empty() || is_same_word(site, "same-origin") || is_same_word(site, "none");
}

PostedForm refuse_form(Portal& portal, const Visit& visit) {
  log_refusal(portal.log, Cause::FOREIGN_FORM, visit.ip, steady_microseconds());
  return {.refusal = front_page_redirect(), .form{}};
}

}  // namespace

bool is_our_host(const Portal& portal, std::string_view host) {
  return std::any_of(portal.hosts.begin(), portal.hosts.end(),
                     [&](const std::string& ours) { return is_same_word(ours, host); });
}

PostedForm read_posted_form(Portal& portal, const Visit& visit) {
  if (!is_own_origin(portal, visit.request)) return refuse_form(portal, visit);
  const auto form = decode_form(visit.body);
  if (!form) return {.refusal = plain_response(400), .form{}};
  const auto token = read_token(portal.token_key, visit.ip, form->value("token"),
                                steady_microseconds() / 1'000'000);
  if (!token) return refuse_form(portal, visit);
  return {.refusal{}, .form = *form, .token = *token};
}

}  // namespace webauth
