#include "bench/soak_effects.h"

#include <cstdio>
#include <ctime>

#include "daemon/login/login_record.h"

namespace webauth {

Date local_date(std::int64_t time) {
  const std::time_t wide = time;
  std::tm local{};
  localtime_r(&wide, &local);
  return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

KernelMessage expected_message(const Model& model, std::uint32_t command, std::uint32_t kind,
                               std::uint32_t ip) {
  KernelMessage message{};
  message.header.nlmsg_len = 376;
  message.header.nlmsg_pid = static_cast<std::uint32_t>(model.daemon);
  message.length = 360;
  message.command = command;
  message.kind = kind;
  message.ip = ip;
  return message;
}

void expect_record(Effects& effects, const std::string& title, const std::string& text) {
  effects.log.push_back("R1 0 K5 syslog.webauth_" + title + " " + text);
}

void expect_line(Effects& effects, const std::string& tokens) {
  effects.log.push_back("@#@ log_info n " + tokens);
}

void expect_reply(Effects& effects, std::uint32_t result) {
  LoginReply reply{};
  reply.result = result;
  effects.replies.back().assign(reinterpret_cast<const char*>(&reply), sizeof reply);
}

void publish(Model& model) {
  model.list.emplace();
  for (const Session& session : model.sessions) {
    if (!session.online || session.kind != ENTRY_USER) continue;
    model.list->push_back({session.user + " " + client_of(session) + " ", session.login});
  }
}

Limit limit_of(const std::string& validity) {
  if (validity == "*") return {};
  if (validity.size() <= 2) {
    return {.type = Limit::DAILY, .seconds = std::int64_t{std::atoi(validity.c_str())} * 3600};
  }
  Limit limit{.type = Limit::DATE};
  auto& [year, month, day] = limit.last_day;
  if (std::sscanf(validity.c_str(), "%d-%d-%d.", &year, &month, &day) != 3) year = -1;
  return limit;
}

void charge(Model& model, const Session& session, Span now) {
  if (session.limit.type != Limit::DAILY) return;
  const auto account =
      first_with(model.accounts, [&](const Account& a) { return a.user == session.user; });
  if (account == model.accounts.end()) return;
  account->logout = now;
  account->used.first += now.first - account->login.last;
  account->used.last += now.last - account->login.first;
}

std::string client_of(const Session& session) { return session.ip + " " + session.mac; }

std::string details_of(const Session& session) {
  return session.user + " IP: " + session.ip + " MAC: " + session.mac;
}

}  // namespace webauth
