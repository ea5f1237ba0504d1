#include "bench/operations.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/floor.h"
#include "bench/mail.h"
#include "bench/neighbours.h"
#include "common/text_field.h"
#include "daemon/kernel/transport.h"

namespace webauth {
namespace {

constexpr char MAC[] = "66:77:88:99:aa:bb";

void pass(World& world) { serve_one_pass(world.loop, world.accounts, world.online_users); }

void prepare_login(World& world) {
  world.request = {};
  world.request.type = LOGIN_REQUEST;
  require(put_field(world.request.user, world.spare_account), "user");
  require(put_field(world.request.ip, fresh_address(world)), "ip");
  require(put_field(world.request.mac, MAC), "mac");
}

// A login takes two passes: its connection is accepted in one and read in the next.
void log_in(World& world) {
  const int front_end = connect_front_end();
  (void)send(front_end, &world.request, sizeof world.request, MSG_NOSIGNAL);
  pass(world);
  pass(world);
  (void)recv(front_end, &world.traces.reply, sizeof world.traces.reply, MSG_DONTWAIT);
  close(front_end);
}

void restore_after_login(World& world) {
  take_out_anybody(world);
  publish(world);
}

const OnlineUser& choose_leaver(World& world) {
  const OnlineUser& user = user_at(world.online_users, anybody(world));
  world.leaving_account = user.user;
  return user;
}

void prepare_offline(World& world) {
  init_kernel_message(world.event, ENTRY_OFFLINE);
  world.event.ip = inet_addr(choose_leaver(world).ip.c_str());
}

void go_offline(World& world) {
  (void)send(world.kernel_side, &world.event, sizeof world.event, 0);
  pass(world);
}

void prepare_cut(World& world) {
  world.cut = {};
  world.cut.command = CTL_CUT_IP;
  require(put_field(world.cut.ip, choose_leaver(world).ip), "ip");
}

void cut(World& world) {
  (void)send(world.control_client, &world.cut, sizeof world.cut, 0);
  pass(world);
}

void restore_after_leaving(World& world) {
  put_online(world, world.leaving_account);
  publish(world);
}

template <bool TLS, bool IMAP>
void prepare_mail_login(World& world) {
  choose_mail_server(TLS, IMAP);
  prepare_login(world);
}

template <bool TLS, bool IMAP>
void mail_floor(World& world) {
  floor_mail_login(world, TLS, IMAP);
}

void restore_after_mail_login(World& world) {
  restore_after_login(world);
  restore_group(world);
}

template <bool TLS, bool IMAP>
constexpr Operation mail_login(const char* name) {
  return {name,
          AuthMode::EMAIL,
          +1,
          prepare_mail_login<TLS, IMAP>,
          log_in,
          mail_floor<TLS, IMAP>,
          restore_after_mail_login};
}

constexpr Operation OPERATIONS[] = {
    {"one-key login", AuthMode::LOCAL, +1, prepare_login, log_in, floor_login, restore_after_login},
    {"local-account login", AuthMode::USERS, +1, prepare_login, log_in, floor_login,
     restore_after_login},
    {"ENTRY_OFFLINE", AuthMode::USERS, -1, prepare_offline, go_offline, floor_offline,
     restore_after_leaving},
    {"CTL_CUT_IP", AuthMode::USERS, -1, prepare_cut, cut, floor_cut, restore_after_leaving},
    mail_login<false, false>("e-mail login, POP3"),
    mail_login<false, true>("e-mail login, IMAP"),
    mail_login<true, false>("e-mail login, POP3 TLS"),
    mail_login<true, true>("e-mail login, IMAP TLS"),
};

}  // namespace

std::span<const Operation> operations() { return OPERATIONS; }

bool had_effect(const Operation& operation, const World& world) {
  const auto before = static_cast<std::ptrdiff_t>(world.users);
  return std::ssize(world.online_users.users) == before + operation.change;
}

bool rehearse(const Operation& operation, World& world) {
  operation.prepare(world);
  operation.daemon(world);
  if (!had_effect(operation, world)) return false;
  drain(world, world.traces);
  read_files(world);
  operation.restore(world);
  return world.traces.records.size() >= 2;
}

}  // namespace webauth
