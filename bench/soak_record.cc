#include "bench/soak_record.h"

#include <arpa/inet.h>

#include <cstdio>
#include <ctime>

#include "bench/soak_model.h"
#include "daemon/control/control_message.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/login/login_record.h"

namespace webauth {
namespace {

constexpr std::size_t ADDRESSES = 400;
constexpr std::size_t NAMES = 150;
constexpr std::int64_t DAY = 24 * 3600;

constexpr const char* ODD_ADDRESSES[] = {
    "",         "1",          "10.1",   "010.0.0.1",       "10.0.0.1 x",       "0x0a.0.0.1",
    "10.0.0.1", "10.0.0.1.1", "10.0.0", "255.255.255.255", "255.255.255.2551", "10.0.0.10",
    "a.b.c.d",  "256.1.1.1",  "%s%n%s", " 10.0.0.2",       "10.0.0.2 ",        "0.0.0.0",
};
constexpr const char* ODD_MACS[] = {
    "",
    "0:1:2:3:4:5",
    "0:1:2:3:4:100",
    "0A:1b:2C:3d:4E:5f and so on to the end",
    "-1:2:3:4:5:6",
    "00-11-22-33-44-55",
    "%s%s%s%n",
    "0:1:2:3:4",
    " 1:2:3:4:5:6",
    "aa:bb:cc:dd:ee:ff:aa:bb",
};
constexpr const char* ODD_NAMES[] = {
    "",  "with a blank", "%s%n%d",
    " ", "visitor",      "name that fills its field to the end of it, so that it has no NUL",
};
constexpr const char* VALIDITIES[] = {"*",         "*",           "8",  "8",  "99",   "1",
                                      "0",         "-1",          "x",  "",   "soon", "12-31",
                                      "1999-1-1.", "2099-12-31.", "8h", "***"};

template <std::size_t N>
const char* any_of(Generator& generator, const char* const (&texts)[N]) {
  return texts[below(generator, N)];
}

// Cut at the end of the field, which then has no NUL.
template <std::size_t N>
void fill(char (&field)[N], const std::string& text) {
  text.copy(field, N);
}

template <typename Record>
std::string bytes_of(const Record& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

std::string any_address(Generator& generator) {
  const std::size_t number = below(generator, ADDRESSES);
  return "10.0." + std::to_string(number / 100) + "." + std::to_string(number % 100);
}

std::string any_mac(Generator& generator) {
  if (below(generator, 8) == 0) return any_of(generator, ODD_MACS);
  char text[24];
  std::snprintf(text, sizeof text, "66:77:88:99:%02zx:%02zx", below(generator, 256),
                below(generator, 256));
  return text;
}

std::string any_name(Generator& generator) {
  if (below(generator, 20) == 0) return any_of(generator, ODD_NAMES);
  return "visitor" + std::to_string(below(generator, NAMES));
}

// Half of the time somebody whom the daemon knows.
std::string known_address(Generator& generator, const Model& model) {
  if (model.sessions.empty() || below(generator, 2) == 0) return any_address(generator);
  return model.sessions[below(generator, model.sessions.size())].ip;
}

std::string known_name(Generator& generator, const Model& model) {
  if (model.accounts.empty() || below(generator, 3) == 0) return any_name(generator);
  return model.accounts[below(generator, model.accounts.size())].user;
}

std::string any_validity(Generator& generator) {
  if (below(generator, 2) == 0) return any_of(generator, VALIDITIES);
  const auto days = static_cast<std::int64_t>(below(generator, 4)) - 1;
  const auto [year, month, day] = local_date(std::time(nullptr) + days * DAY);
  return std::to_string(year) + "-" + std::to_string(month) + "-" + std::to_string(day) + ".";
}

std::string make_login(Generator& generator, const Model& model, bool odd) {
  LoginRequest request{};
  request.type = LOGIN_REQUEST;
  fill(request.user, odd ? any_of(generator, ODD_NAMES) : known_name(generator, model));
  fill(request.password, "secret");
  fill(request.extra1, any_mac(generator));
  fill(request.ip, odd ? any_of(generator, ODD_ADDRESSES) : any_address(generator));
  fill(request.mac, any_mac(generator));
  request.tag = static_cast<std::uint32_t>(generator.random());
  return bytes_of(request);
}

std::string make_kernel_event(Generator& generator, std::uint32_t command, const std::string& ip) {
  KernelMessage message{};
  message.header.nlmsg_len = static_cast<std::uint32_t>(generator.random());
  message.length = static_cast<std::uint32_t>(generator.random());
  message.command = command;
  message.ip = inet_addr(ip.c_str());
  message.kind = static_cast<std::uint32_t>(below(generator, 10));
  if (message.kind > 2) message.kind = message.kind % 2;
  for (unsigned char& byte : message.mac) byte = static_cast<unsigned char>(generator.random());
  return bytes_of(message);
}

std::string make_account(Generator& generator) {
  AddAccountMessage message{};
  message.command = CTL_ADD_ACCOUNT;
  fill(message.user, any_name(generator));
  fill(message.validity, any_validity(generator));
  fill(message.note, "note");
  return bytes_of(message);
}

template <typename Record, typename Field>
std::string make_control(std::uint32_t command, Field field, const std::string& text) {
  Record message{};
  message.command = command;
  fill(message.*field, text);
  return bytes_of(message);
}

}  // namespace

std::size_t below(Generator& generator, std::size_t bound) { return generator.random() % bound; }

std::vector<std::string> make_account_lines() {
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < NAMES; ++i) {
    constexpr const char* VALIDITY[] = {"*", "8", "0", "2099-12-31.", "1999-1-1."};
    lines.push_back("visitor" + std::to_string(i) + " x * " + VALIDITY[i % 5] + " note");
  }
  return lines;
}

std::string make_record(Generator& generator, const Model& model, Kind kind) {
  switch (kind) {
    case Kind::LOGIN:
    case Kind::ODD_LOGIN:
      return make_login(generator, model, kind == Kind::ODD_LOGIN);
    case Kind::ONLINE:
      return make_kernel_event(generator, ENTRY_ONLINE, any_address(generator));
    case Kind::OFFLINE:
      return make_kernel_event(generator, ENTRY_OFFLINE, known_address(generator, model));
    case Kind::CHECK_EXPIRY:
      return make_kernel_event(generator, CHECK_EXPIRY, known_address(generator, model));
    case Kind::CUT:
      return make_control<CutIpMessage>(CTL_CUT_IP, &CutIpMessage::ip,
                                        known_address(generator, model));
    case Kind::ADD_ACCOUNT:
      return make_account(generator);
    case Kind::DELETE_ACCOUNT:
      return make_control<DeleteAccountMessage>(CTL_DELETE_ACCOUNT, &DeleteAccountMessage::user,
                                                known_name(generator, model));
    case Kind::ALLOW_MAC:
      return make_control<AllowMacMessage>(CTL_ALLOW_MAC, &AllowMacMessage::mac,
                                           any_mac(generator));
    case Kind::WITHDRAW_MAC:
      return make_control<RemoveMacMessage>(CTL_REMOVE_MAC, &RemoveMacMessage::mac,
                                            any_mac(generator));
    default:
      return "";
  }
}

}  // namespace webauth
