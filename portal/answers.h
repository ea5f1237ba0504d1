// The pages as answers, for one visitor: in his language, with a fresh token, in the mode of now.
#pragma once

#include <optional>
#include <string_view>

#include "portal/portal.h"
#include "portal/texts.h"

namespace webauth {

Viewer viewer_of(const Portal& portal, const Visit& visit);

struct LoginAnswer {
  int status = 200;
  std::optional<Text> message{};
  std::string_view user{};   ///< to begin with
  std::string_view token{};  ///< to keep; empty: a new one
};

Response login_answer(const Portal& portal, const Viewer& viewer, const LoginAnswer& answer);

Response session_answer(const Portal& portal, const Viewer& viewer, const PublishedLine& session,
                        int status = 200, std::optional<Text> message = {});

Response stuck_answer(const Portal& portal, const Viewer& viewer);

Response waiting_answer(const Portal& portal, const Viewer& viewer);

/// Back to the front page, by GET.
Response front_page_redirect();

/// What a login's outcome is for the one who waits for it.
Response outcome_answer(const Portal& portal, const Viewer& viewer, LoginOutcome outcome,
                        std::string_view user);

/// Of an outcome other than ADMITTED.
Text outcome_text(LoginOutcome outcome);

}  // namespace webauth
