// Plays the transcripts of tests/scenarios. Lines that begin with "> " are steps (player.cc has
// them) and those with "$ " commands of the shell, $daemon being the daemon's process; the others
// are what must then be seen, in the order of its causes: what the mail server heard, replies, the
// daemon's output, the published list when it is written, log records, messages to the kernel
// module, and what a command printed. Blank lines and lines that begin with "#" separate. With
// WRITE_SCENARIOS in the environment the files are written anew; read the difference.
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "tests/player.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

namespace fs = std::filesystem;

class ScenarioTest : public testing::TestWithParam<fs::directory_entry> {};

TEST_P(ScenarioTest, GoesAsWritten) {
  const std::string expected = read_file(GetParam().path());
  std::istringstream file(expected);
  std::string seen;
  Player player;
  for (std::string line; std::getline(file, line);) {
    const bool step = line.starts_with("> ") || line.starts_with("$ ");
    if (step || line.empty() || line[0] == '#') seen += line + "\n";
    if (step) seen += player.play(line.substr(line[0] == '>' ? 2 : 0));
  }
  player.end_daemon();
  EXPECT_EQ(Lines(), player.effects());
  if (std::getenv("WRITE_SCENARIOS") != nullptr) write_file(GetParam().path(), seen);
  EXPECT_TRUE(same_lines(expected, seen));
}

INSTANTIATE_TEST_SUITE_P(All, ScenarioTest,
                         testing::ValuesIn(fs::directory_iterator(TEST_FOLDER "scenarios"),
                                           fs::directory_iterator()),
                         [](const auto& scenario) {
                           return scenario.param.path().stem().string();
                         });

}  // namespace
}  // namespace webauth
