// What the kernel module reports: clients that become active or leave, and accounts whose expiry
// date is to be judged again. Only the fields named in kernel/kernel_message.h are read.
//
// Nothing here ends the process.
#pragma once

#include "daemon/kernel/kernel_message.h"
#include "daemon/users/user_table.h"

namespace webauth {

/// Handles one message of the kernel module by its `command`; others are ignored. Returns 0.
int handle_kernel_event(const KernelMessage& message, AccountTable& accounts,
                        OnlineUserTable& online_users);

/// ENTRY_ONLINE: records a listed client, or renews its record in place. Not published.
void on_entry_online(const KernelMessage& message, OnlineUserTable& online_users);

/// ENTRY_OFFLINE: removes the first online record of the address, whatever its kind, and in mode
/// USERS charges its daily allowance. Publishes the list even when there is none.
void on_entry_offline(const KernelMessage& message, AccountTable& accounts,
                      OnlineUserTable& online_users);

/// CHECK_EXPIRY: ends the session of the first online record of the address that has an expiry
/// date, when that date has passed. The record stays in the table with `online` 0. `ip` is in
/// network byte order. Returns 1 when such a record was judged, 0 when there is none.
int on_check_expiry(std::uint32_t ip, OnlineUserTable& online_users);

}  // namespace webauth
