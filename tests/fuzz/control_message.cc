// Datagrams of the control channel, each on tables that hold somebody.
#include "control/control_channel.h"
#include "running_tables.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto message = webauth::begin_input<webauth::ControlMessage>(data, size);
  webauth::RunningTables tables = webauth::running_tables();
  webauth::handle_control_message(message, tables.accounts, tables.online_users);
  return 0;
}
