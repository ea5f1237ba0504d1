// A daemon that serves `users` online users, and its neighbours, in one process and one thread.
//
// Whoever measures plays the neighbours' part, calls serve_one_pass, and empties the neighbours'
// queues with drain() before the next operation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "daemon/control/control_message.h"
#include "daemon/core/main_loop.h"
#include "daemon/core/settings.h"
#include "daemon/kernel/kernel_message.h"
#include "daemon/login/login_record.h"

namespace webauth {

/// What one operation of the daemon left with its neighbours; the floor repeats the same bytes.
struct Traces {
  std::vector<std::string> records;  ///< texts of the log records, without syslog's own header
  KernelMessage message{};           ///< what the kernel module was told last
  LoginReply reply{};
  std::string list;   ///< the published list
  std::string group;  ///< mode EMAIL: the group file
};

struct World {
  World(AuthMode mode, std::size_t user_count);
  ~World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

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
  std::string leaving_account;  ///< name of whom an operation is about to take out
  Traces traces;
  // What the neighbours are about to send.
  LoginRequest request{};
  CutIpMessage cut{};
  KernelMessage event{};
};

/// The text of an address that nobody has had.
std::string fresh_address(World& world);

/// Puts a user online at a fresh address without the daemon's doing.
void put_online(World& world, const std::string& account);

/// Takes somebody out without the daemon's doing; the account becomes the spare one.
void take_out_anybody(World& world);

/// A position anywhere in the table of online users.
std::size_t anybody(World& world);

/// Writes the list, as the daemon does after every change.
void publish(World& world);

/// Empties the queues of syslog and of the kernel side into the records and the message of `seen`.
void drain(World& world, Traces& seen);

/// Writes the group file as it is between two operations.
void restore_group(const World& world);

/// Reads the published list and the group file into `traces`.
void read_files(World& world);

}  // namespace webauth
