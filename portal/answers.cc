#include "portal/answers.h"

#include "common/clock.h"
#include "portal/pages.h"

namespace webauth {
namespace {

const Language& language_of(const Portal& portal, const Viewer& viewer) {
  const auto& languages = portal.branding.languages;  // which may be others by now
  return languages[viewer.language < languages.size() ? viewer.language : 0];
}

std::string new_token(const Portal& portal, const Viewer& viewer, TokenUse use) {
  return make_token(portal.token_key, viewer.ip, use, steady_microseconds() / 1'000'000);
}

PageContext context_of(const Portal& portal, const Viewer& viewer, std::string_view token) {
  return {.branding = portal.branding,
          .language = language_of(portal, viewer),
          .mode = current_mode().mode,
          .token = token,
          .message{},
          .is_tls = viewer.is_tls,
          .user{}};
}

Response page_answer(const Portal& portal, const Language& language, int status,
                     const std::string& form) {
  const std::string& title = portal.branding.title;
  return {.status = status,
          .body = fill_template(portal.branding.page,
                                {.form = form,
                                 .title = title.empty() ? language[Text::TITLE] : title,
                                 .language = language.tag,
                                 .direction = language[Text::DIRECTION]})};
}

}  // namespace

Viewer viewer_of(const Portal& portal, const Visit& visit) {
  return {.ip = visit.ip,
          .language = choose_language(portal.branding.languages, visit.request.languages),
          .is_tls = visit.tls};
}

Response login_answer(const Portal& portal, const Viewer& viewer, const LoginAnswer& answer) {
  const std::string token =
      answer.token.empty() ? new_token(portal, viewer, TokenUse::PAGE) : std::string(answer.token);
  PageContext context = context_of(portal, viewer, token);
  context.message = answer.message;
  context.user = answer.user;
  return page_answer(portal, context.language, answer.status, login_page(context));
}

Response session_answer(const Portal& portal, const Viewer& viewer, const PublishedLine& session,
                        int status, std::optional<Text> message) {
  const std::string token = new_token(portal, viewer, TokenUse::PAGE);
  PageContext context = context_of(portal, viewer, token);
  context.message = message;
  context.user = session.user;
  return page_answer(portal, context.language, status,
                     session_page(context, seconds_left(session)));
}

Response stuck_answer(const Portal& portal, const Viewer& viewer) {
  const std::string token = new_token(portal, viewer, TokenUse::AGAIN);
  const PageContext context = context_of(portal, viewer, token);
  return page_answer(portal, context.language, 200, stuck_page(context));
}

Response waiting_answer(const Portal& portal, const Viewer& viewer) {
  const PageContext context = context_of(portal, viewer, "");
  return page_answer(portal, context.language, 200, waiting_page(context));
}

Response front_page_redirect() { return redirect_response(303, "/"); }

Response outcome_answer(const Portal& portal, const Viewer& viewer, LoginOutcome outcome,
                        std::string_view user) {
  if (outcome == LoginOutcome::ADMITTED) return front_page_redirect();
  return login_answer(portal, viewer,
                      {.status = outcome == LoginOutcome::UNREACHABLE ? 503 : 200,
                       .message = outcome_text(outcome),
                       .user = user});
}

Text outcome_text(LoginOutcome outcome) {
  switch (outcome) {
    case LoginOutcome::REFUSED:
      return Text::REFUSED;
    case LoginOutcome::TIME_USED_UP:
      return Text::TIME_USED_UP;
    case LoginOutcome::NOT_LISTED:
      return Text::NOT_LISTED;
    case LoginOutcome::UNREACHABLE:
      return Text::UNREACHABLE;
    default:
      return Text::NOT_ADMITTED;
  }
}

}  // namespace webauth
