#include "portal/login_queue.h"

#include <openssl/crypto.h>

#include <algorithm>

#include "daemon/login/login_record.h"

namespace webauth {

Secret::Secret(std::string_view text) : size_(text.copy(bytes_.data(), bytes_.size())) {}

Secret::~Secret() { wipe(); }

Secret::Secret(Secret&& other) noexcept : bytes_(other.bytes_), size_(other.size_) { other.wipe(); }

Secret& Secret::operator=(Secret&& other) noexcept {
  if (this == &other) return *this;
  bytes_ = other.bytes_;
  size_ = other.size_;
  other.wipe();
  return *this;
}

void Secret::wipe() {
  OPENSSL_cleanse(bytes_.data(), bytes_.size());
  size_ = 0;
}

bool is_queued(const LoginQueue& queue, std::uint32_t ip) {
  return std::any_of(queue.begin(), queue.end(),
                     [&](const Login& login) { return login.ip == ip; });
}

bool has_room(const LoginQueue& queue, AuthMode mode) {
  return queue.size() < (mode == AuthMode::EMAIL ? MOST_MAIL_LOGINS : MOST_LOGINS);
}

LoginVerdict judge_login(const ExchangeEnd& end, bool is_published, int tries) {
  if (end.how != ExchangeEnd::CLOSED) return {.outcome = LoginOutcome::UNREACHABLE};
  switch (end.result) {
    case LOGIN_REFUSED:
      return {.outcome = LoginOutcome::REFUSED};
    case LOGIN_TIME_EXHAUSTED:
      return {.outcome = LoginOutcome::TIME_USED_UP};
    case LOGIN_NOT_LISTED:
      return {.outcome = LoginOutcome::NOT_LISTED};
    default:
      break;
  }
  if (is_published) return {.outcome = LoginOutcome::ADMITTED};
  return {.try_again = tries < 2, .outcome = LoginOutcome::NOT_ADMITTED};
}

}  // namespace webauth
