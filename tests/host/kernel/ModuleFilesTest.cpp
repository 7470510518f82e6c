#include <gtest/gtest.h>

#include "host/kernel/ModuleFiles.h"

namespace plexion_host {
namespace {

ModuleFiles Files() {
  ModuleFiles files;
  files.path = {"/nowhere", PLEXION_TEST_MODULES};
  files.sharedLibraries = {{"IPairSecond", "IPair"}};
  return files;
}

TEST(ModuleFilesTest, FindsTheLibraryOnTheModulePath) {
  std::string error;
  const std::string pair = std::string(PLEXION_TEST_MODULES) + "/IPair.so";
  EXPECT_EQ(pair, Files().Find("IPair", error));
  EXPECT_EQ(pair, Files().Find("IPairSecond", error)) << "lives in the library of IPair";
  EXPECT_EQ("", error);
}

TEST(ModuleFilesTest, MapsANameAndThoseInTheSameLibrary) {
  ModuleFiles files = Files();
  std::string error;
  files.map["IPair"] = "INoObject.so";
  const std::string mapped = std::string(PLEXION_TEST_MODULES) + "/INoObject.so";
  EXPECT_EQ(mapped, files.Find("IPair", error));
  EXPECT_EQ(mapped, files.Find("IPairSecond", error));
  files.map["IPair"] = mapped;
  EXPECT_EQ(mapped, files.Find("IPair", error));
}

TEST(ModuleFilesTest, SaysWhatWasLookedForAndWhere) {
  struct {
    std::string name, mapped, error;
  } const cases[] = {
      {"IShell", "", "no library IShell.so in /nowhere, " PLEXION_TEST_MODULES},
      {"IShell", "/absent/Shell.so", "no library /absent/Shell.so (from --modulemap)"},
      {"IShell", "Absent.so",
       "no library Absent.so in /nowhere, " PLEXION_TEST_MODULES
       ", the current folder (from --modulemap)"},
      {"../IPair", "", "'../IPair' is no module name (expected letters, digits and _)"},
      {"", "", "'' is no module name (expected letters, digits and _)"},
  };
  for (const auto& wrong : cases) {
    ModuleFiles files = Files();
    if (!wrong.mapped.empty()) files.map[wrong.name] = wrong.mapped;
    std::string error;
    EXPECT_EQ("", files.Find(wrong.name, error));
    EXPECT_EQ(wrong.error, error);
  }
}

TEST(ModuleFilesTest, SearchesTheLaunchersFolderFirst) {
  EXPECT_EQ((std::vector<std::string>{"/opt/plexion", "/a", "/b", "/c"}),
            ModulePath("/opt/plexion", {"/a/", ""}, "/b::/c"));
  EXPECT_EQ((std::vector<std::string>{"/a"}), ModulePath("", {"/a"}, nullptr));
}

}  // namespace
}  // namespace plexion_host
