// Typed lines that are kept.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>

#include "host/shell/History.h"
#include "tests/host/shell/ShellHost.h"

namespace plexion_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(History, KeepsLinesFromOneRunToTheNextForTheirOwnerOnly) {
  const TestFolder folder;
  const std::string path = folder / "state/plexion/shell_history";
  {
    History history(path);
    EXPECT_TRUE(history.Add("windows"));
    EXPECT_FALSE(history.Add("windows"));
    EXPECT_FALSE(history.Add("  "));
    EXPECT_TRUE(history.Add("go"));
  }
  EXPECT_THAT(History(path).GetLines(), ElementsAre("windows", "go"));
  struct stat info {};
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777u, 0600u);
}

TEST(History, CutsBackAFileThatHasGrown) {
  const TestFolder folder;
  const std::string path = folder / "history";
  {
    std::ofstream file(path);
    for (size_t i = 0; i <= 2 * History::kKeptLines; ++i) file << "line " << i << "\n";
  }
  const std::string newest = "line " + std::to_string(2 * History::kKeptLines);
  EXPECT_EQ(History(path).GetLines().size(), History::kKeptLines);
  std::ifstream file(path);
  std::string line;
  size_t lines = 0;
  while (std::getline(file, line)) ++lines;
  EXPECT_EQ(lines, History::kKeptLines);
  EXPECT_EQ(History(path).GetLines().back(), newest);
}

TEST(History, DoesWithoutAFile) {
  for (const std::string path : {"", "/proc/none/history", "/dev/null"}) {
    History history(path);
    EXPECT_THAT(history.GetLines(), IsEmpty());
    EXPECT_TRUE(history.Add("windows"));
  }
}

}  // namespace
}  // namespace plexion_host
