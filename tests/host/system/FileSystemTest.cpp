#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/system/FileSystem.h"
#include "host/system/FileTree.h"

namespace plexion_host {
namespace {

namespace fs = std::filesystem;

class FileSystemTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "plexion-files-XXXXXX").string();
    ASSERT_NE(nullptr, mkdtemp(pattern.data()));
    root_ = pattern;
  }
  void TearDown() override { fs::remove_all(root_); }

  /// Opens `path` and makes it writable.
  static bool EnsureWritable(FileSystem& files, const std::string& path, bool createMissing) {
    qx::platform::IFileObject* const object = files.CreateFileObject();
    const bool writable = object->Open(path.c_str()) && object->EnsureWritable(createMissing);
    files.DestroyFileObject(object);
    return writable;
  }
  static bool Remove(FileSystem& files, const std::string& path, bool recursive) {
    qx::platform::IFileObject* const object = files.CreateFileObject();
    const bool removed = object->Open(path.c_str()) && object->RemoveDirectory(recursive);
    files.DestroyFileObject(object);
    return removed;
  }
  void Write(const std::string& path) const { std::ofstream(root_ + "/" + path) << "text"; }
  static mode_t Mode(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
  }

  std::string root_;
  FileSystem files_{""};
};

TEST_F(FileSystemTest, MakesMissingDirectoriesOnlyWhenAsked) {
  const std::string deep = root_ + "/a/b/c/";
  EXPECT_FALSE(EnsureWritable(files_, deep, false));
  EXPECT_FALSE(fs::exists(root_ + "/a"));
  EXPECT_TRUE(EnsureWritable(files_, deep, true));
  EXPECT_TRUE(EnsureWritable(files_, deep, false));
  EXPECT_TRUE(fs::is_empty(deep)) << "the trial file is gone again";
}

TEST_F(FileSystemTest, IsNotWritableWhereNoFileCanBeMade) {
  Write("file");
  EXPECT_FALSE(EnsureWritable(files_, root_ + "/file", true));
  EXPECT_FALSE(EnsureWritable(files_, root_ + "/file/below", true));
  EXPECT_FALSE(EnsureWritable(files_, "/proc/plexion", true)) << "root cannot write there either";
  EXPECT_FALSE(EnsureWritable(files_, "/proc", false));
}

TEST_F(FileSystemTest, SharesWhatItMakesInASharedDirectory) {
  ASSERT_EQ(0, chmod(root_.c_str(), 01777));
  EXPECT_TRUE(EnsureWritable(files_, root_ + "/.plexion/app-tmp/17", true));
  EXPECT_EQ(01777U, Mode(root_ + "/.plexion"));
  EXPECT_EQ(01777U, Mode(root_ + "/.plexion/app-tmp"));
  EXPECT_EQ(0700U, Mode(root_ + "/.plexion/app-tmp/17"));
  EXPECT_TRUE(EnsureWritable(files_, root_ + "/own/below", true));
  ASSERT_EQ(0, chmod(root_.c_str(), 0755));
  EXPECT_TRUE(EnsureWritable(files_, root_ + "/plain/below", true));
  EXPECT_EQ(0U, Mode(root_ + "/plain") & S_ISVTX);
}

TEST_F(FileSystemTest, RemovesATreeAndNothingThatLinksLeadTo) {
  fs::create_directories(root_ + "/outside/kept");
  Write("outside/file");
  fs::create_directories(root_ + "/tree/inner/empty");
  Write("tree/inner/file");
  fs::create_directory_symlink(root_ + "/outside", root_ + "/tree/inner/link");
  fs::create_symlink(root_ + "/outside/file", root_ + "/tree/filelink");
  fs::create_symlink(root_ + "/nowhere", root_ + "/tree/dangling");
  EXPECT_FALSE(Remove(files_, root_ + "/tree", false)) << "not empty";
  EXPECT_TRUE(Remove(files_, root_ + "/tree/", true));
  EXPECT_FALSE(fs::exists(root_ + "/tree"));
  EXPECT_TRUE(fs::exists(root_ + "/outside/kept"));
  EXPECT_TRUE(fs::exists(root_ + "/outside/file"));
  EXPECT_TRUE(Remove(files_, root_ + "/tree", true)) << "what is not there counts as removed";
}

TEST_F(FileSystemTest, RemovesALinkInsteadOfWhatItLeadsTo) {
  fs::create_directories(root_ + "/outside/kept");
  fs::create_directory_symlink(root_ + "/outside", root_ + "/link");
  EXPECT_TRUE(Remove(files_, root_ + "/link/", true)) << "the slash must not make it follow";
  EXPECT_FALSE(fs::is_symlink(root_ + "/link"));
  EXPECT_TRUE(fs::exists(root_ + "/outside/kept"));
}

TEST_F(FileSystemTest, RefusesToRemoveWhatIsNoDirectory) {
  Write("file");
  EXPECT_FALSE(Remove(files_, root_ + "/file", true));
  EXPECT_TRUE(fs::exists(root_ + "/file"));
  std::string refused;
  EXPECT_FALSE(RemoveDirectoryTree("/", true, refused));
}

TEST_F(FileSystemTest, RefusesWhatAnotherUserPutInASharedPlace) {
  ASSERT_EQ(0, chmod(root_.c_str(), 01777));
  fs::create_directories(root_ + "/.plexion/app-tmp/17");
  Write(".plexion/app-tmp/17/kept");
  fs::create_directory_symlink(root_ + "/.plexion", root_ + "/link");
  // What root owns is trusted, so that root's test gives it away, and another's takes another's part.
  const uid_t other = geteuid() + 4711;
  const bool root = geteuid() == 0;
  if (root && chown((root_ + "/.plexion").c_str(), other, 0) != 0) GTEST_SKIP() << "no chown here";
  const std::string said = (root ? root_ + "/.plexion" : root_) + " belongs to another user";
  const uid_t user = root ? 0 : other;
  std::string refused;
  EXPECT_FALSE(EnsureWritableDirectory(root_ + "/.plexion/app-tmp/18", true, refused, user));
  EXPECT_EQ(said, refused);
  refused.clear();
  EXPECT_FALSE(RemoveDirectoryTree(root_ + "/.plexion/app-tmp/17", true, refused, user));
  EXPECT_EQ(said, refused);
  refused.clear();
  EXPECT_FALSE(RemoveDirectoryTree(root_ + "/.plexion", true, refused, user));
  EXPECT_EQ(said, refused);
  EXPECT_TRUE(!root || chown((root_ + "/.plexion").c_str(), 0, 0) == 0);
  refused.clear();
  EXPECT_FALSE(EnsureWritableDirectory(root_ + "/link/app-tmp/18", true, refused));
  EXPECT_EQ(root_ + "/link is a link", refused);
  EXPECT_FALSE(RemoveDirectoryTree(root_ + "/link/app-tmp/17", true, refused));
  EXPECT_TRUE(fs::exists(root_ + "/.plexion/app-tmp/17/kept"));
  EXPECT_FALSE(fs::exists(root_ + "/.plexion/app-tmp/18"));
}

TEST_F(FileSystemTest, OpensPathsThatAFileCouldHave) {
  const std::pair<std::string, bool> cases[] = {
      {"/tmp/x", true},
      {"/absent/y", true},
      {"", false},
      {"relative/x", false},
      {"/" + std::string(300, 'n'), false},
      {std::string(5000, '/'), false},
  };
  for (const auto& [path, possible] : cases) {
    qx::platform::IFileObject* const object = files_.CreateFileObject();
    EXPECT_EQ(possible, object->Open(path.c_str())) << path;
    if (!possible) {
      EXPECT_FALSE(object->EnsureWritable(true));
      EXPECT_FALSE(object->RemoveDirectory(true));
    }
    files_.DestroyFileObject(object);
  }
}

TEST_F(FileSystemTest, MapsTheInstallBaseToTheDataDirectory) {
  FileSystem mapped(root_);
  EXPECT_TRUE(EnsureWritable(mapped, std::string(kInstallBase) + "/data/users/me", true));
  EXPECT_TRUE(fs::is_directory(root_ + "/data/users/me"));
  EXPECT_TRUE(EnsureWritable(mapped, root_ + "/elsewhere", true));
  EXPECT_TRUE(fs::is_directory(root_ + "/elsewhere")) << "only the base is mapped";
  EXPECT_TRUE(IsAtOrBelow(kInstallBase, kInstallBase));
  EXPECT_FALSE(IsAtOrBelow(std::string(kInstallBase) + "er", kInstallBase));
}

}  // namespace
}  // namespace plexion_host
