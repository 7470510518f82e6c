// Files that are what they should be, and what else can stand in their place.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "host/base/ReadFile.h"

namespace plexion_host {
namespace {

TEST(ReadFile, ReadsRegularFilesAndRefusesTheRestAtOnce) {
  const std::string folder = testing::TempDir() + "plexion-read-" + std::to_string(getpid());
  std::filesystem::create_directories(folder);
  const std::string file = folder + "/file";
  const std::string bytes("one\0two", 7);
  std::ofstream(file, std::ios::binary) << bytes;
  ASSERT_EQ(mkfifo((folder + "/fifo").c_str(), 0600), 0);

  std::string content;
  std::string error;
  EXPECT_TRUE(ReadFile(file, 7, content, error)) << error;
  EXPECT_EQ(content, bytes);
  const std::pair<std::string, std::string> refused[] = {
      {folder, "is a folder"},
      {folder + "/fifo", "is no regular file"},
      {"/dev/zero", "is no regular file"},
      {folder + "/missing", "No such file or directory"},
  };
  for (const auto& [path, reason] : refused) {
    EXPECT_FALSE(ReadFile(path, 1000, content, error)) << path;
    EXPECT_EQ(error, reason);
  }
  EXPECT_FALSE(ReadFile(file, 6, content, error));
  EXPECT_EQ(error, "is larger than 6 bytes");
  EXPECT_FALSE(ReadFile("/proc/self/status", 10, content, error)) << "it tells no size";
  EXPECT_EQ(content, bytes) << "unchanged by what failed";
  std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace plexion_host
