// Plays the transcripts of tests/scenarios. Lines that begin with "> " are done, the others are
// what must then be seen, in the order of its causes: the mail server's ear, replies to front ends,
// the published list when it is written, the daemon's output, log records, kernel messages, and
// what the tools print. Blank lines and lines that begin with "#" separate. With WRITE_SCENARIOS in
// the environment the files are written anew; read the difference.
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "tests/player.h"
#include "tests/support/world_test.h"

namespace webauth {
namespace {

class ScenarioTest : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(ScenarioTest, GoesAsWritten) {
  const std::string expected = read_file(GetParam());
  std::istringstream file(expected);
  std::string seen;
  Player player;
  for (std::string line; std::getline(file, line);) {
    const bool step = line.starts_with("> ") || line.starts_with("$ ");
    if (step || line.empty() || line[0] == '#') seen += line + "\n";
    if (step) seen += player.play(line.substr(line[0] == '>' ? 2 : 0));
  }
  player.end_daemon();
  if (std::getenv("WRITE_SCENARIOS") != nullptr) write_file(GetParam(), seen);
  EXPECT_TRUE(same_lines(expected, seen));
}

std::vector<std::filesystem::path> scenarios() {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(TEST_FOLDER "scenarios")) {
    paths.push_back(entry.path());
  }
  return paths;
}

INSTANTIATE_TEST_SUITE_P(All, ScenarioTest, testing::ValuesIn(scenarios()),
                         [](const auto& scenario) { return scenario.param.stem().string(); });

}  // namespace
}  // namespace webauth
