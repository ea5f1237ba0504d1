// A mail server on loopback that says what it is told to, whatever it hears.
#pragma once

#include <openssl/ssl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>

#include <mutex>
#include <sstream>
#include <thread>
#include <utility>

#include "tests/support/world.h"

namespace webauth {

/// Serves one connection after the other, in a thread, until it is stopped.
class MailServer {
 public:
  /// `says` is the greeting and one answer per command. What stands behind a '|' comes a second
  /// later; "close" there, or alone, closes. After the last answer it waits for the client's end.
  /// `tls` names a folder with key.pem and cert.pem; it is null for a plain server.
  explicit MailServer(Lines says, const char* tls = nullptr, int port = 0)
      : says_(std::move(says)),
        listener_(BIO_new_accept(("127.0.0.1:" + std::to_string(port)).c_str())) {
    signal(SIGPIPE, SIG_IGN);
    BIO_set_bind_mode(listener_, BIO_BIND_REUSEADDR);
    if (tls != nullptr) {
      SSL_CTX_use_certificate_file(tls_, (std::string(tls) + "/cert.pem").c_str(), 1);
      SSL_CTX_use_PrivateKey_file(tls_, (std::string(tls) + "/key.pem").c_str(), 1);
      BIO_set_accept_bios(listener_, BIO_new_ssl(tls_, 0));
    }
    EXPECT_EQ(1, BIO_do_accept(listener_)) << "cannot listen";  // the first call does only that
    thread_ = std::thread([this] {
      while (BIO_do_accept(listener_) == 1) serve(BIO_pop(listener_));
    });
  }

  ~MailServer() {
    stop();
    SSL_CTX_free(tls_);
  }

  [[nodiscard]] int port() const { return std::atoi(BIO_get_accept_port(listener_)); }

  /// The lines that came since the last call, and notes about what is no line.
  Lines heard() {
    const std::lock_guard lock(mutex_);
    return std::exchange(heard_, {});
  }

  /// Takes no more connections; the last one must have ended or end by itself.
  void stop() {
    if (!thread_.joinable()) return;
    shutdown(static_cast<int>(BIO_get_fd(listener_, nullptr)), SHUT_RDWR);
    thread_.join();
    BIO_free_all(listener_);
  }

 private:
  void serve(BIO* client) {
    bool open = true;
    for (const std::string& answer : says_) {
      std::istringstream pieces(answer);
      for (std::string piece; open && std::getline(pieces, piece, '|');) {
        open = piece != "close" && BIO_write(client, piece.data(), int(piece.size())) > 0;
        poll(nullptr, 0, pieces.eof() ? 0 : 1000);
      }
      open = open && hear(client);
    }
    while (open && hear(client)) {
    }
    BIO_free_all(client);
  }

  bool hear(BIO* client) {
    char bytes[512];
    const int count = BIO_read(client, bytes, sizeof bytes);
    std::string line(bytes, count > 0 ? static_cast<std::size_t>(count) : 0);
    SSL* tls = nullptr;
    BIO_get_ssl(client, &tls);
    const bool alert = tls != nullptr && (SSL_get_shutdown(tls) & SSL_RECEIVED_SHUTDOWN) != 0;
    if (alert) line = "(a closing alert)\r\n";
    if (line.starts_with('\x16')) line = "(a TLS hello)\r\n";
    const std::lock_guard lock(mutex_);
    if (line.ends_with("\r\n")) heard_.push_back(line.substr(0, line.size() - 2));
    return count > 0;
  }

  Lines says_;
  SSL_CTX* tls_ = SSL_CTX_new(TLS_server_method());
  BIO* listener_;
  std::mutex mutex_;
  Lines heard_;
  std::thread thread_;
};

}  // namespace webauth
