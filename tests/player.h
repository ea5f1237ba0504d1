// Plays the steps of a transcript, and tells what is then seen.
#pragma once

#include <sys/stat.h>

#include <map>
#include <memory>
#include <optional>
#include <string>

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
  void note_sent(std::string_view record);
  void look() override;
  void look_at_list();
  void note_lines(const std::string& what, const std::string& text);
  std::string like_earlier(const std::string& step, const Lines& words, const std::string& seen);

  std::optional<MailServer> mail_;
  std::map<std::string, std::unique_ptr<FdGuard>> clients_;
  bool stopped_ = false;
  Lines list_;
  struct stat list_status_ {};
  Program shell_;
  Program gate_;
  Lines verdicts_;  // of the daemon that is pretended
  std::string sent_;
  int login_listener_ = -1;
  int control_listener_ = -1;
  std::map<std::string, std::string> earlier_;
};

}  // namespace webauth
