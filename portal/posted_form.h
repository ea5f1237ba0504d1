// The form that a POST brings: believed only when it is one of ours.
#pragma once

#include <openssl/crypto.h>

#include <optional>
#include <span>
#include <string_view>

#include "portal/form.h"
#include "portal/form_token.h"
#include "portal/portal.h"

namespace webauth {

/// Whether a Host is one of ours, in any case.
bool is_our_host(const Portal& portal, std::string_view host);

/// Views into the body of the visit, which is changed.
struct PostedForm {
  std::optional<Response> refusal;  ///< with one, the rest is of no use
  Form form;
  Token token{};
};

/// Refused when Origin or Sec-Fetch-Site say that another page sent it, when it cannot be decoded,
/// and when its token is not this address's.
PostedForm read_posted_form(Portal& portal, const Visit& visit);

/// Wipes the body, and with it the password, on the way out.
struct BodyWiper {
  std::span<char> body;
  ~BodyWiper() { OPENSSL_cleanse(body.data(), body.size()); }
};

}  // namespace webauth
