// Requests of the login channel, each twice on tables that hold somebody.
#include "login/dispatch.h"
#include "running_tables.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto request = webauth::begin_input<webauth::LoginRequest>(data, size);
  webauth::RunningTables tables = webauth::running_tables();
  for (int i = 0; i < 2; ++i) {
    webauth::dispatch_login(-1, request, tables.accounts, tables.online_users);
  }
  return 0;
}
