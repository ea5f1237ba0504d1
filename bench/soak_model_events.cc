// The model's side of the control channel and of what the kernel side reports.
#include <arpa/inet.h>

#include <cstdio>

#include "bench/soak_effects.h"
#include "daemon/control/control_message.h"

namespace webauth {
namespace {

// An address in network byte order, first byte first.
std::string dotted(std::uint32_t ip) {
  char text[INET_ADDRSTRLEN];
  inet_ntop(AF_INET, &ip, text, sizeof text);
  return text;
}

std::string with_colons(const MacAddress& mac) {
  std::string text;
  for (const unsigned byte : mac) {
    char digits[4];
    std::snprintf(digits, sizeof digits, ":%02x", byte);
    text += digits;
  }
  return text.substr(1);
}

void online(Model& model, const KernelMessage& message, Span now, Effects& effects) {
  Session entry{message.kind, "", dotted(message.ip), with_colons(message.mac)};
  entry.login = now;
  const auto known = first_with(model.sessions, [&](const Session& s) {
    return s.kind != ENTRY_USER && s.kind == entry.kind && s.ip == entry.ip && s.online;
  });
  if (known != model.sessions.end()) {
    *known = entry;
  } else {
    model.sessions.push_back(entry);
  }
  if (entry.kind == ENTRY_MAC) {
    expect_record(effects, "macti", "syslog.webauth_onmac " + entry.mac);
  } else {
    expect_record(effects, "ipti", "syslog.webauth_onip " + entry.ip);
  }
}

void expect_offline(const Model& model, const Session& session, Effects& effects) {
  const bool users = model.accounts_mode;
  if (session.kind == ENTRY_MAC) {
    expect_record(effects, "macti", "syslog.webauth_downmac " + session.mac);
    expect_line(effects, "- " + session.mac + " - webident - -v ident.macident " +
                             (users ? " " : "") + "ident.webidentdown");
    return;
  }
  expect_record(effects, "ipti", "syslog.webauth_downuser " + details_of(session));
  if (users) {
    expect_line(effects,
                client_of(session) +
                    "  - webident - -v ident.userident  ident.webidentdown ident.useridentname + " +
                    session.user + " ");
  } else {
    expect_line(effects, std::string(" ").append(client_of(session)) +
                             "  - webident - -v ident.onekeyident  ident.webidentdown");
  }
}

void offline(Model& model, const KernelMessage& message, Span now, Effects& effects) {
  const auto session = first_with(model.sessions, [ip = dotted(message.ip)](const Session& s) {
    return s.online && s.ip == ip;
  });
  if (session != model.sessions.end()) {
    if (model.accounts_mode) charge(model, *session, now);
    expect_offline(model, *session, effects);
    model.sessions.erase(session);
  }
  publish(model);
}

void check_expiry(Model& model, const KernelMessage& message, Span now, Effects& effects) {
  const auto session = first_with(model.sessions, [ip = dotted(message.ip)](const Session& s) {
    return s.online && s.ip == ip && s.limit.type == Limit::DATE;
  });
  if (session == model.sessions.end()) return;
  if (local_date(now.first) <= session->limit.last_day) return;
  const in_addr_t address = inet_addr(session->ip.c_str());
  effects.messages.push_back({expected_message(model, REMOVE_ENTRY, ENTRY_USER, address)});
  session->online = false;
  publish(model);
}

void add_account(Model& model, const AddAccountMessage& message, Effects& effects) {
  const std::string user = text_in(message.user);
  model.accounts.push_back({.user = user, .limit = limit_of(text_in(message.validity))});
  expect_record(effects, "userti", "syslog.webauth_user " + user);
  expect_line(
      effects,
      "- - - webident - -v ident.userident ident.webidentup  ident.useridentname + " + user);
}

void delete_account(Model& model, const DeleteAccountMessage& message, Effects& effects) {
  const std::string user = text_in(message.user);
  const auto has_user = [&](const auto& record) { return record.user == user; };
  for (auto session = first_with(model.sessions, has_user); session != model.sessions.end();
       session = first_with(model.sessions, has_user)) {
    const in_addr_t address = inet_addr(session->ip.c_str());
    effects.messages.push_back({expected_message(model, REMOVE_ENTRY, 0, address)});
    model.sessions.erase(session);
    if (!model.multi_user) break;
  }
  publish(model);
  const auto account = first_with(model.accounts, has_user);
  if (account == model.accounts.end()) return;
  expect_record(effects, "userti", "syslog.webauth_logoutuser " + user);
  expect_line(effects, "- - - webident - -v ident.userident ident.webidentdown  " + user);
  model.accounts.erase(account);
}

void cut(Model& model, const CutIpMessage& message, Span now, Effects& effects) {
  const auto session = first_with(
      model.sessions, [ip = text_in(message.ip)](const Session& s) { return s.ip == ip; });
  if (session == model.sessions.end()) return;
  charge(model, *session, now);
  const in_addr_t address = inet_addr(session->ip.c_str());
  if (address != INADDR_NONE) {
    effects.messages.push_back({expected_message(model, REMOVE_ENTRY, ENTRY_USER, address)});
  }
  expect_record(effects, "userti", "syslog.webauth_downuser " + details_of(*session));
  expect_line(effects, client_of(*session) +
                           " - webident - -v ident.webidentdown ident.identcuted ident.cutname + " +
                           session->user + " ");
  model.sessions.erase(session);
  publish(model);
  model.group_file = true;
}

void change_mac(const Model& model, const std::string& text, std::uint32_t command,
                Effects& effects) {
  unsigned n[6];
  if (std::sscanf(text.c_str(), "%x:%x:%x:%x:%x:%x", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]) !=
      6) {
    return;
  }
  KernelMessage message = expected_message(model, command, ENTRY_MAC, 0);
  for (std::size_t i = 0; i < 6; ++i) {
    if (n[i] > 255) return;
    message.mac[i] = static_cast<unsigned char>(n[i]);
  }
  effects.messages.push_back({message});
}

}  // namespace

void apply_control(Model& model, const std::string& bytes, Span now, Effects& effects) {
  switch (as_record<ControlMessage>(bytes).command) {
    case 0:
      return add_account(model, as_record<AddAccountMessage>(bytes), effects);
    case 1:
      return delete_account(model, as_record<DeleteAccountMessage>(bytes), effects);
    case 3:
      return cut(model, as_record<CutIpMessage>(bytes), now, effects);
    case 5:
      return change_mac(model, text_in(as_record<AllowMacMessage>(bytes).mac), ADD_ENTRY, effects);
    case 6:
      return change_mac(model, text_in(as_record<RemoveMacMessage>(bytes).mac), REMOVE_MAC,
                        effects);
    default:
      return;
  }
}

void apply_kernel(Model& model, const std::string& bytes, Span now, Effects& effects) {
  const auto message = as_record<KernelMessage>(bytes);
  switch (message.command) {
    case 0:
      return online(model, message, now, effects);
    case 1:
      return offline(model, message, now, effects);
    case 8:
      return check_expiry(model, message, now, effects);
    default:
      return;
  }
}

}  // namespace webauth
