// Two steps of start-up that grow with their files: an IP range for the kernel module, and the
// local accounts. Their neighbours do nothing but read.
#pragma once

#include "bench/measure.h"

namespace webauth {

/// The longest range that the IP list may hold, against a loop that sends as many datagrams: what
/// passes meanwhile, and what of it the sender works itself.
void measure_ip_range(Table& table);

/// 100,000 accounts, against reading the file and writing the log records.
void measure_accounts(Table& table);

}  // namespace webauth
