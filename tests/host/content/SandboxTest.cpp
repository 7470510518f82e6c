// What a content's process may still do, by kind of content and by version of Landlock.

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include "host/content/sandbox/Landlock.h"

namespace plexion_host::content {
namespace {

class SandboxTest : public ::testing::Test {
 protected:
  SandboxTest() {
    char pattern[] = "/tmp/plexion-rights-XXXXXX";
    top_ = mkdtemp(pattern);
    std::filesystem::create_directory(top_ / "content");
    std::ofstream(top_ / "content" / "film") << "content";
    std::ofstream(top_ / "secret") << "not for content";
  }
  ~SandboxTest() override { std::filesystem::remove_all(top_); }

  /// What each attempt came to, by its name.
  std::map<std::string, std::string> Try(const std::string& kind, const std::string& content,
                                         int landlock = kKnownLandlock) {
    const std::string command = "PLEXION_LANDLOCK=" + std::to_string(landlock) + " " +
                                PLEXION_RIGHTS_PROBE " " + kind + " " + (top_ / content).string() +
                                " " + (top_ / "secret").string();
    FILE* const output = popen(command.c_str(), "r");
    std::map<std::string, std::string> results;
    char line[512];
    while (fgets(line, sizeof line, output) != nullptr) {
      const std::string text(line);
      const size_t colon = text.find(": ");
      if (colon != std::string::npos) {
        results[text.substr(0, colon)] = text.substr(colon + 2, text.size() - colon - 3);
      }
    }
    EXPECT_EQ(0, pclose(output));
    return results;
  }

  std::filesystem::path top_;
};

/// Refused to every kind, whatever the kernel.
constexpr const char* kNever[] = {
    "make file",   "cut content",     "remove content",  "fork", "ptrace launcher", "kill launcher",
    "kill all",    "signal launcher", "signal by ioctl", "type", "change limit",    "new namespace",
    "keep living", "execute",         "write by openat2"};
/// And what each needs.
constexpr const char* kAlways[] = {"read content", "not to wait", "second number",
                                   "thread",       "memory",      "library"};

TEST_F(SandboxTest, EachKindMayDoWhatItNeedsAndNothingElse) {
  const std::pair<const char*, const char*> kinds[] = {{"movie", "content/film"},
                                                       {"application", "content"},
                                                       {"picture", "content/film"},
                                                       {"media", "content/film"},
                                                       {"network", "content/film"}};
  for (const auto& [kind, content] : kinds) {
    SCOPED_TRACE(kind);
    auto results = Try(kind, content);
    for (const char* what : kNever) EXPECT_NE("done", results[what]) << what;
    for (const char* what : kAlways) EXPECT_EQ("done", results[what]) << what;
    EXPECT_NE("done", results["write content"]);
    EXPECT_EQ("ENOSYS", results["fork"]);
    EXPECT_EQ("ENOSYS", results["execute"]);
    const bool network = std::string(kind) == "network";
    EXPECT_EQ(network ? "done" : "ENOSYS", results["socket"]);
    EXPECT_EQ(network ? "ECONNREFUSED" : "ENOSYS", results["connect"]);
    EXPECT_EQ("ENOSYS", results["local socket"]);
    if (LandlockOfKernel() == 0) continue;
    for (const char* what : {"read /etc/passwd", "read neighbour", "list /"}) {
      EXPECT_EQ("EACCES", results[what]) << what;
    }
  }
}

TEST_F(SandboxTest, MediaMayReadTheCaptionsThatAreWanted) {
  const std::string captions = (top_ / "content" / "film.srt").string();
  std::ofstream(captions) << "none";
  player::remote::ContentOrder order;
  order.kind = player::ContentKind::kMedia;
  player::ContentAddress content;
  content.path = (top_ / "content" / "film").string();
  for (const auto& [choice, may] : {std::pair<const char*, bool>{"on", true},
                                    {"film.srt", true},
                                    {"off", false},
                                    {"", false}}) {
    player::PlayerSettings settings;
    if (*choice != '\0') settings.variables = {{"captions", choice}};
    const Rights rights = RightsFor(order, content, settings, false);
    EXPECT_EQ(may, std::count(rights.read.begin(), rights.read.end(), captions) == 1) << choice;
  }
}

TEST_F(SandboxTest, EveryVersionOfLandlockKeepsFilesApart) {
  for (int version = 1; version <= std::min(LandlockOfKernel(), kKnownLandlock); ++version) {
    SCOPED_TRACE(version);
    auto results = Try("movie", "content/film", version);
    EXPECT_EQ("Landlock " + std::to_string(version) + ", system call filter, limits",
              results["protected"]);
    EXPECT_EQ("EACCES", results["read neighbour"]);
    EXPECT_EQ("EACCES", results["read /etc/passwd"]);
    EXPECT_EQ("done", results["read content"]);
  }
}

TEST_F(SandboxTest, AKernelWithoutLandlockIsToldOfAndTheRestStays) {
  auto results = Try("movie", "content/film", 0);
  EXPECT_EQ(0u, results["protected"].find("no Landlock in this kernel"));
  EXPECT_EQ("done", results["read neighbour"]) << "which is what Landlock is for";
  for (const char* what : kNever) EXPECT_NE("done", results[what]) << what;
  EXPECT_NE("done", results["write content"]);
  EXPECT_EQ("ENOSYS", results["socket"]);
}

TEST_F(SandboxTest, SoundLetsContentWriteToDevicesAndNeitherMakeFilesNorSignalOthers) {
  for (const int version : {0, kKnownLandlock}) {
    SCOPED_TRACE(version);
    auto results = Try("sound", "content/film", version);
    for (const char* what : kNever) EXPECT_NE("done", results[what]) << what;
    for (const char* what : kAlways) EXPECT_EQ("done", results[what]) << what;
    EXPECT_EQ("done", results["local socket"]);
    // What a sound server's client takes for "not yours".
    EXPECT_EQ("EACCES", results["make file"]);
    const bool apart = version > 0 && LandlockOfKernel() > 0;
    EXPECT_EQ(apart ? "EACCES" : "done", results["write content"]);
    if (version == 0) {
      EXPECT_NE(std::string::npos, results["protected"].find("with sound"));
    }
  }
}

}  // namespace
}  // namespace plexion_host::content
