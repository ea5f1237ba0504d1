// Plays the steps of a transcript, and tells what is then seen.
#pragma once

#include <map>
#include <memory>
#include <optional>

#include "common/fd_guard.h"
#include "tests/support/mail_server.h"
#include "tests/support/world.h"

namespace webauth {

class Player : public World {
 public:
  Player();
  /// Does one step and returns what was seen then, one effect a line, each ended by "$", in the
  /// order of their causes; or which earlier step of this kind went the same way.
  std::string play(const std::string& step);

 private:
  bool prepare(const Lines& words, const std::string& rest);
  bool visit(const Lines& words);
  bool send_record(const Lines& words);
  void run_shell(const std::string& text);
  void pretend();
  void look() override;
  void note_lines(const std::string& what, const std::string& text);

  std::optional<MailServer> mail_;
  std::map<std::string, std::unique_ptr<FdGuard>> clients_;
  bool stopped_ = false;
  ino_t list_file_ = 0;
  Lines list_;
  Program shell_;
  Program gate_;
  std::unique_ptr<FdGuard> gate_input_, login_listener_, control_listener_;
  std::string asked_;  // of the daemon that is pretended
  std::map<std::string, std::string> earlier_;
};

}  // namespace webauth
