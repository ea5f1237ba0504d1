// Messages of the kernel module, each on tables that hold somebody.
#include "running_tables.h"
#include "users/kernel_events.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto message = webauth::begin_input<webauth::KernelMessage>(data, size);
  webauth::RunningTables tables = webauth::running_tables();
  webauth::on_entry_online(message, tables.online_users);
  webauth::handle_kernel_event(message, tables.accounts, tables.online_users);
  webauth::on_check_expiry(message.ip, tables.online_users);
  return 0;
}
