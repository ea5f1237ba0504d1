// A daemon that serves `users` online users, and its neighbours, in one process and one thread.
//
// Whoever measures plays the neighbours' part, calls serve_one_pass, and empties the neighbours'
// queues with drain() before the next operation. What cannot be set up is thrown as
// std::runtime_error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "bench/mail.h"
#include "daemon/core/main_loop.h"
#include "daemon/core/settings.h"
#include "daemon/users/user_table.h"
#include "tests/support/neighbours.h"

namespace webauth {

/// What one operation of the daemon left with its neighbours; the floor repeats the same bytes.
struct Traces {
  Lines records;        ///< texts of the log records, without syslog's own header
  std::string message;  ///< what the kernel module was told last
  std::string reply;    ///< to the front end
  std::string list;     ///< the published list
  std::string group;    ///< mode EMAIL: the group file
};

struct Stage {
  Stage(AuthMode mode, MailWay mail_way, std::size_t user_count);
  ~Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  MailWay mail;           ///< mode EMAIL
  std::size_t users;      ///< online between two operations
  AccountTable accounts;  ///< but in mode LOCAL: one for everybody online, and one spare
  OnlineUserTable online_users;
  LoopState loop;
  int log_sink;
  int kernel_side;
  int control_client;
  std::mt19937 random{1};       ///< the same users are picked in every run
  std::uint32_t addresses = 0;  ///< given out so far
  std::string spare_account;    ///< name of the account that nobody uses; empty in mode LOCAL
  std::string group;            ///< mode EMAIL: the group file between two operations
  std::string sent;             ///< the record with which a neighbour asks for the operation
  Traces traces;
};

/// The text of an address that nobody has had.
std::string fresh_address(Stage& stage);

/// Puts a user online at a fresh address without the daemon's doing.
void put_online(Stage& stage, const std::string& account);

/// Chooses somebody who is online, whose account becomes the spare one.
std::size_t anybody(Stage& stage);

/// Writes the list, as the daemon does after every change.
void publish(Stage& stage);

/// Empties the queues of syslog and of the kernel side into the traces.
void drain(Stage& stage);

}  // namespace webauth
