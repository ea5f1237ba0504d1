#include "portal/pages.h"

#include "portal/html_text.h"

namespace webauth {
namespace {

void append_element(std::string& page, std::string_view begin, std::string_view text,
                    std::string_view end) {
  page += begin;
  append_html(page, text);
  page += end;
}

void append_message(std::string& page, const PageContext& context) {
  if (!context.message) return;
  append_element(page, "<p role=\"alert\">", context.language[*context.message], "</p>\n");
}

void append_form_begin(std::string& page, const PageContext& context, std::string_view action,
                       std::string_view attributes) {
  page.append("<form method=\"post\" action=\"").append(action).append("\"").append(attributes);
  append_element(page, ">\n<input type=\"hidden\" name=\"token\" value=\"", context.token, "\">\n");
}

void append_form_end(std::string& page, std::string_view attributes, std::string_view text) {
  page.append("<button type=\"submit\"").append(attributes);
  append_element(page, ">", text, "</button>\n</form>\n");
}

void append_fields(std::string& page, const PageContext& context) {
  const Language& language = context.language;
  const bool is_mail = context.mode == AuthMode::EMAIL;
  append_element(page, "<label for=\"user\">", language[is_mail ? Text::MAIL_NAME : Text::NAME],
                 "</label>\n");
  append_element(
      page,
      "<input id=\"user\" name=\"user\" type=\"text\" autocomplete=\"username\" "
      "autocapitalize=\"none\" autocorrect=\"off\" spellcheck=\"false\" required value=\"",
      context.user, "\">\n");
  append_element(page, "<label for=\"password\">", language[Text::PASSWORD], "</label>\n");
  page +=
      "<input id=\"password\" name=\"password\" type=\"password\" "
      "autocomplete=\"current-password\" required>\n";
}

void append_terms(std::string& page, const PageContext& context) {
  if (!context.branding.terms) return;
  const Language& language = context.language;
  append_element(page, "<p class=\"small\">", language[Text::ACCEPT_TERMS], "</p>\n");
  if (language.terms.empty()) return;
  append_element(page, "<details><summary>", language[Text::TERMS], "</summary>\n");
  append_element(page, "<div class=\"plain small\">", language.terms, "</div></details>\n");
}

void append_hint(std::string& page, const PageContext& context) {
  const Language& language = context.language;
  if (context.mode == AuthMode::ADVERT && !language.notice.empty()) {
    append_element(page, "<div class=\"notice plain\">", language.notice, "</div>\n");
    return;
  }
  const Text text = context.mode == AuthMode::WEIXIN ? Text::WEIXIN : Text::ONE_KEY;
  append_element(page, "<p>", language[text], "</p>\n");
}

}  // namespace

std::string login_page(const PageContext& context) {
  const bool asks_name = mode_row(context.mode).method != LoginMethod::ONE_KEY;
  std::string page;
  append_message(page, context);
  if (!asks_name) append_hint(page, context);
  append_form_begin(page, context, "/login", "");
  if (asks_name) append_fields(page, context);
  const bool is_delayed = context.mode == AuthMode::ADVERT && context.branding.advert_seconds > 0;
  append_form_end(page, is_delayed ? " class=\"delayed\"" : "",
                  context.language[asks_name ? Text::LOG_IN : Text::CONNECT]);
  if (asks_name && !context.is_tls) {
    append_element(page, "<p class=\"small\">", context.language[Text::IN_THE_CLEAR], "</p>\n");
  }
  append_terms(page, context);
  return page;
}

std::string session_page(const PageContext& context, std::optional<std::int64_t> seconds_left) {
  const Language& language = context.language;
  std::string page;
  append_message(page, context);
  append_element(page, "<p role=\"status\">", language[Text::ONLINE], "</p>\n");
  if (!context.user.empty() || seconds_left) page += "<dl>\n";
  if (!context.user.empty()) {
    append_element(page, "<dt>", language[Text::USER], "</dt>");
    append_element(page, "<dd><bdi>", context.user, "</bdi></dd>\n");
  }
  if (seconds_left) {
    append_element(page, "<dt>", language[Text::TIME_LEFT], "</dt>");
    append_element(page, "<dd>", duration_text(language, *seconds_left), "</dd>\n");
  }
  if (!context.user.empty() || seconds_left) page += "</dl>\n";
  if (!context.branding.link.empty()) {
    append_element(page, "<p><a class=\"button\" href=\"", context.branding.link, "\">");
    append_element(page, "", language[Text::GO_ON], "</a></p>\n");
  }
  append_form_begin(page, context, "/logout", " class=\"quiet\"");
  append_form_end(page, "", language[Text::LOG_OUT]);
  return page;
}

std::string stuck_page(const PageContext& context) {
  std::string page;
  append_message(page, context);
  append_element(page, "<p role=\"alert\">", context.language[Text::STUCK], "</p>\n");
  append_form_begin(page, context, "/logout", "");
  append_form_end(page, "", context.language[Text::CONNECT_AGAIN]);
  return page;
}

std::string waiting_page(const PageContext& context) {
  // In the body, so that the operator's page.html needs no place for it.
  std::string page = "<meta http-equiv=\"refresh\" content=\"2;url=/\">\n";
  append_element(page, "<p role=\"status\">", context.language[Text::WAITING], "</p>\n");
  return page;
}

std::string duration_text(const Language& language, std::int64_t seconds) {
  const std::int64_t minutes = seconds / 60;
  if (minutes == 0) return language[Text::LESS_THAN_A_MINUTE];
  std::string text;
  if (minutes >= 60) text = std::to_string(minutes / 60) + ' ' + language[Text::HOURS] + ' ';
  return text + std::to_string(minutes % 60) + ' ' + language[Text::MINUTES];
}

}  // namespace webauth
