// What a mail server replies, read from a plain connection: its first 256 bytes are judged.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "daemon/login/mail_connection.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string judged = std::string(data, data + (size < 256 ? size : 256)).c_str();
  for (const bool imap : {false, true}) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
    if (write(ends[1], data, size) != static_cast<ssize_t>(size)) std::abort();
    close(ends[1]);
    webauth::MailConnection mail;
    mail.fd = ends[0];
    const bool ok = imap ? judged.find("OK") != std::string::npos : judged.starts_with("+OK ");
    if ((imap ? imap_reply_ok(mail) : pop3_reply_ok(mail)) != ok) std::abort();
  }
  return 0;
}
