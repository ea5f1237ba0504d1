#include "portal/texts.h"

#include <algorithm>

#include "portal/http_request.h"

namespace webauth {
namespace {

constexpr const char* TAGS[] = {"en", "de", "zh"};
constexpr std::size_t BUILT_IN = std::size(TAGS);

struct TextRow {
  const char* key;
  const char* texts[BUILT_IN];
};

// In the order of Text.
constexpr TextRow TEXT_ROWS[] = {
    {"title", {"Network login", "Anmeldung im Netz", "网络登录"}},
    {"direction", {"ltr", "ltr", "ltr"}},
    {"name", {"User name", "Benutzername", "用户名"}},
    {"mail_name", {"E-mail account", "E-Mail-Konto", "邮箱账号"}},
    {"password", {"Password", "Passwort", "密码"}},
    {"log_in", {"Log in", "Anmelden", "登录"}},
    {"connect", {"Connect", "Verbinden", "连接网络"}},
    {"log_out", {"Log out", "Abmelden", "退出登录"}},
    {"connect_again", {"Connect again", "Neu verbinden", "重新连接"}},
    {"one_key",
     {"One press on the button connects you.", "Ein Druck auf die Taste verbindet Sie.",
      "点击按钮即可上网。"}},
    {"weixin",
     {"WeChat works already; the button opens the rest of the network.",
      "WeChat geht schon; die Taste öffnet das übrige Netz.",
      "微信已可直接使用；点击按钮即可访问其他网络。"}},
    {"in_the_clear",
     {"This page is not encrypted: others in this network can read your password.",
      "Diese Seite ist nicht verschlüsselt: Andere in diesem Netz können Ihr Passwort lesen.",
      "本页面未加密：同一网络中的其他人可能会看到您的密码。"}},
    {"accept_terms",
     {"By going on you accept the terms of use.",
      "Wer fortfährt, nimmt die Nutzungsbedingungen an.", "继续即表示您接受使用条款。"}},
    {"terms", {"Terms of use", "Nutzungsbedingungen", "使用条款"}},
    {"online", {"You are online.", "Sie sind online.", "您已联网。"}},
    {"user", {"Logged in as", "Angemeldet als", "登录账号"}},
    {"time_left", {"Time left", "Verbleibende Zeit", "剩余时间"}},
    {"hours", {"h", "Std.", "小时"}},
    {"minutes", {"min", "Min.", "分钟"}},
    {"less_than_a_minute", {"less than a minute", "weniger als eine Minute", "不到一分钟"}},
    {"go_on", {"Go on", "Weiter", "继续"}},
    {"stuck",
     {"You are logged in, but your traffic still ends here. Connecting again mends that.",
      "Sie sind angemeldet, aber Ihre Verbindungen enden noch hier. Neu verbinden behebt das.",
      "您已登录，但您的连接仍然停留在此处。重新连接即可解决。"}},
    {"waiting",
     {"Your login is being checked. This page goes on by itself.",
      "Ihre Anmeldung wird geprüft. Diese Seite geht von selbst weiter.",
      "正在验证您的登录，页面将自动刷新。"}},
    {"refused",
     {"Name or password is wrong.", "Name oder Passwort ist falsch.", "用户名或密码错误。"}},
    {"time_used_up",
     {"The time of this account is used up.", "Die Zeit dieses Kontos ist aufgebraucht.",
      "该账号的可用时间已用完。"}},
    {"not_listed",
     {"This account may not log in here.", "Dieses Konto darf sich hier nicht anmelden.",
      "该账号无权在此登录。"}},
    {"not_admitted",
     {"The login was not accepted. Please try again.",
      "Die Anmeldung wurde nicht angenommen. Bitte versuchen Sie es noch einmal.",
      "登录未被接受，请重试。"}},
    {"unreachable",
     {"Logins are not possible at the moment. Please try again in a minute.",
      "Anmelden ist gerade nicht möglich. Bitte versuchen Sie es in einer Minute noch einmal.",
      "暂时无法登录，请一分钟后再试。"}},
    {"too_many",
     {"Too many attempts. Please wait a moment.",
      "Zu viele Versuche. Bitte warten Sie einen Augenblick.", "尝试次数过多，请稍候再试。"}},
    {"queue_full",
     {"Too many people are logging in. Please try again soon.",
      "Zu viele melden sich gerade an. Bitte versuchen Sie es gleich noch einmal.",
      "当前登录人数过多，请稍后再试。"}},
    {"bad_name",
     {"This name cannot be used here.", "Dieser Name kann hier nicht verwendet werden.",
      "此用户名无法在此使用。"}},
    {"bad_password",
     {"This password cannot be used here.", "Dieses Passwort kann hier nicht verwendet werden.",
      "此密码无法在此使用。"}},
    {"still_online",
     {"You are still online. Please try again.",
      "Sie sind noch online. Bitte versuchen Sie es noch einmal.", "您仍处于联网状态，请重试。"}},
    {"too_early",
     {"Please read first: the button works in a moment.",
      "Bitte erst lesen: Die Taste geht gleich.", "请先阅读内容，按钮稍后可用。"}},
};
static_assert(std::size(TEXT_ROWS) == TEXT_COUNT);

// Thousandths; 0 for what is no weight.
int read_weight(std::string_view text) {
  const bool is_one = text.starts_with('1');
  if (!is_one && !text.starts_with('0')) return 0;
  int weight = is_one ? 1000 : 0;
  if (text.size() < 2 || text[1] != '.') return weight;
  int unit = 100;
  for (std::size_t i = 2; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    weight += (text[i] - '0') * unit;
    unit /= 10;
  }
  return std::min(weight, 1000);
}

// "de" fits "de", "de-AT" fits "de", and "de" fits "de-AT".
bool fits(std::string_view wanted, std::string_view tag) {
  const std::size_t size = std::min(wanted.size(), tag.size());
  if (size == 0 || !is_same_word(wanted.substr(0, size), tag.substr(0, size))) return false;
  return (wanted.size() == size || wanted[size] == '-') && (tag.size() == size || tag[size] == '-');
}

std::string_view without_blanks(std::string_view text) {
  const std::size_t begin = std::min(text.find_first_not_of(" \t"), text.size());
  return text.substr(begin, text.find_last_not_of(" \t") + 1 - begin);
}

// Cuts what stands before `sign` off the front of `text`, and the sign.
std::string_view take_until(std::string_view& text, char sign) {
  const std::size_t end = std::min(text.find(sign), text.size());
  const std::string_view item = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return without_blanks(item);
}

}  // namespace

std::vector<Language> built_in_languages() {
  std::vector<Language> languages(BUILT_IN);
  for (std::size_t i = 0; i < BUILT_IN; ++i) {
    languages[i].tag = TAGS[i];
    for (std::size_t text = 0; text < TEXT_COUNT; ++text) {
      languages[i].texts[text] = TEXT_ROWS[text].texts[i];
    }
  }
  return languages;
}

std::optional<Text> find_text(std::string_view key) {
  for (std::size_t i = 0; i < TEXT_COUNT; ++i) {
    if (key == TEXT_ROWS[i].key) return static_cast<Text>(i);
  }
  return {};
}

std::size_t choose_language(std::span<const Language> languages, std::string_view accepted) {
  std::size_t chosen = 0;
  int best = 0;
  while (!accepted.empty()) {
    std::string_view item = take_until(accepted, ',');
    const std::string_view wanted = take_until(item, ';');
    item = without_blanks(item);
    const int weight = item.starts_with("q=") ? read_weight(item.substr(2)) : 1000;
    if (weight <= best) continue;
    const auto found = wanted == "*"
                           ? languages.begin()
                           : std::find_if(languages.begin(), languages.end(),
                                          [&](const Language& l) { return fits(wanted, l.tag); });
    if (found == languages.end()) continue;
    chosen = static_cast<std::size_t>(found - languages.begin());
    best = weight;
  }
  return chosen;
}

}  // namespace webauth
