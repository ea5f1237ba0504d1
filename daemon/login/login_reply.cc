#include "daemon/login/login_reply.h"

#include "daemon/kernel/transport.h"

namespace webauth {

void send_login_reply(int connection, LoginResult result) {
  LoginReply reply{};
  reply.result = result;
  (void)send_message(TRANSPORT_LOCAL, connection, &reply, sizeof reply);
}

}  // namespace webauth
