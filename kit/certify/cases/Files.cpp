// Promises of the file system.

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"
#include "qx/platform/IFileSystem.h"

namespace plexion_certify {
namespace {

namespace fs = std::filesystem;
using qx::platform::IFileObject;
using qx::platform::IFileSystem;

/// The file system under test, and a folder to try it in.
struct Files {
  explicit Files(Case& filesCase) : c(filesCase), system(Acquire(filesCase)) {}

  static IFileSystem& Acquire(Case& c) {
    LedgerKernel& kernel = c.GetBench().Ledger();
    IQXModule* const module = kernel.AcquireModule("IFileSystem");
    CERTIFY_REQUIRE(c, module != nullptr, "the module IFileSystem", kernel.WhyNot("IFileSystem"));
    return *static_cast<IFileSystem*>(module);
  }
  /// An object that points below the folder.
  IFileObject& At(const std::string& below) {
    // Kept: whether the path is copied is a promise of its own.
    const char* path = nullptr;
    {
      const std::lock_guard<std::mutex> lock(mutex);
      path = paths.insert(Path(below)).first->c_str();
    }
    IFileObject* const object = system.CreateFileObject();
    CERTIFY_REQUIRE(c, object != nullptr, "a file object", "null");
    CERTIFY_REQUIRE(c, object->Open(path), "Open of " + below + " answers true: it need not exist",
                    "false");
    return *object;
  }
  std::string Path(const std::string& below) const { return folder.path + "/" + below; }
  void Write(const std::string& below) const {
    fs::create_directories(fs::path(Path(below)).parent_path());
    std::ofstream(Path(below)) << "text of " << below;
  }
  bool Has(const std::string& below) const { return fs::exists(fs::symlink_status(Path(below))); }

  Case& c;
  IFileSystem& system;
  TemporaryFolder folder;
  std::mutex mutex;  // threads have objects of their own, and share this
  std::set<std::string> paths;
};

/// One object handed out twice works until the first of its two users is done.
void Objects(Case& c) {
  Files files(c);
  IFileObject* const one = files.system.CreateFileObject();
  IFileObject* const two = files.system.CreateFileObject();
  CERTIFY_REQUIRE(c, one != nullptr && two != nullptr && one != two, "an object for each call",
                  "null, or the same twice");
  files.system.DestroyFileObject(one);
  const std::string there = files.Path("there");
  fs::create_directory(there);
  CERTIFY_REQUIRE(c, two->Open(there.c_str()) && two->RemoveDirectory(false),
                  "an object that works when another was destroyed", "false");
  files.system.DestroyFileObject(two);
}

/// Whether a folder can be written to is found out by writing; what was written for that is taken away again.
void Existing(Case& c) {
  Files files(c);
  fs::create_directory(files.Path("there"));
  c.Step("EnsureWritable of a folder that is there");
  CERTIFY_REQUIRE(c, files.At("there").EnsureWritable(false), "true", "false");
  CERTIFY_REQUIRE(c, files.At("there").EnsureWritable(true), "true, with createMissing as well",
                  "false");
  CERTIFY_REQUIRE(
      c, fs::is_empty(files.Path("there")), "nothing left in it",
      "a file: " + (fs::is_empty(files.Path("there"))
                        ? ""
                        : fs::directory_iterator(files.Path("there"))->path().string()));
}

void Creates(Case& c) {
  Files files(c);
  c.Step("EnsureWritable(true) of a/b/c");
  CERTIFY_REQUIRE(c, files.At("a/b/c").EnsureWritable(true), "true", "false");
  CERTIFY_REQUIRE(c, fs::is_directory(files.Path("a/b/c")), "the folder a/b/c", "none");
  std::ofstream(files.Path("a/b/c/file")) << "x";
  CERTIFY_REQUIRE(c, files.Has("a/b/c/file"), "a file can be written in it", "it cannot");
}

/// The service asks for several places in turn, and those that it does not take must look as before.
void NotAbove(Case& c) {
  Files files(c);
  c.Step("EnsureWritable(false) of a/b where a is missing");
  CERTIFY_REQUIRE(c, !files.At("a/b").EnsureWritable(false), "false", "true");
  CERTIFY_REQUIRE(c, !files.Has("a"), "nothing made above it", "the folder a");
}

void FileInTheWay(Case& c) {
  Files files(c);
  files.Write("file");
  c.Step("EnsureWritable of a file");
  CERTIFY_REQUIRE(c, !files.At("file").EnsureWritable(true), "false: it is no folder", "true");
  c.Step("EnsureWritable below a file");
  CERTIFY_REQUIRE(c, !files.At("file/below").EnsureWritable(true), "false: a file is in the way",
                  "true");
  CERTIFY_REQUIRE(c, fs::is_regular_file(files.Path("file")), "the file as before", "it is gone");
}

/// Below /proc nobody makes a folder, whatever the user's rights: the case works for root, too.
void NotWritable(Case& c) {
  Files files(c);
  c.Step("EnsureWritable where nobody may write: below /proc");
  IFileObject* const object = files.system.CreateFileObject();
  object->Open("/proc/plexion-certify");
  CERTIFY_REQUIRE(c, !object->EnsureWritable(true), "false", "true");
}

void RemovesEmpty(Case& c) {
  Files files(c);
  fs::create_directory(files.Path("empty"));
  c.Step("RemoveDirectory(false) of an empty folder");
  CERTIFY_REQUIRE(c, files.At("empty").RemoveDirectory(false), "true", "false");
  CERTIFY_REQUIRE(c, !files.Has("empty"), "the folder gone", "it is there");
}

/// Whoever cleans up does not know what was ever made.
void RemovesMissing(Case& c) {
  Files files(c);
  for (const bool recursive : {false, true}) {
    c.Step("RemoveDirectory of what does not exist");
    CERTIFY_REQUIRE(c, files.At("missing").RemoveDirectory(recursive), "true: it counts as removed",
                    "false");
  }
}

/// "Not recursive" is the only protection that a folder with somebody's files has.
void KeepsFull(Case& c) {
  Files files(c);
  files.Write("full/file");
  c.Step("RemoveDirectory(false) of a folder with a file in it");
  CERTIFY_REQUIRE(c, !files.At("full").RemoveDirectory(false), "false", "true");
  CERTIFY_REQUIRE(c, files.Has("full/file"), "the file as before", "it is gone");
}

void RemovesAll(Case& c) {
  Files files(c);
  for (const char* file :
       {"tree/a", "tree/.hidden", "tree/b/c/d", "tree/b/c/e f", "tree/b/\xC3\xA9", "beside/file"})
    files.Write(file);
  fs::create_directories(files.Path("tree/empty/inside"));
  c.Step("RemoveDirectory(true)");
  CERTIFY_REQUIRE(c, files.At("tree").RemoveDirectory(true), "true", "false");
  CERTIFY_REQUIRE(c, !files.Has("tree"), "the folder gone with all that was in it",
                  "something is left");
  CERTIFY_REQUIRE(c, files.Has("beside/file"), "what lies beside it as before", "it is gone");
}

/// The folder lies where others may write: a link to /etc must cost nobody /etc.
void Links(Case& c) {
  Files files(c);
  files.Write("precious/file");
  files.Write("tree/own");
  fs::create_directory_symlink(files.Path("precious"), files.Path("tree/link"));
  fs::create_symlink(files.Path("precious/file"), files.Path("tree/file-link"));
  fs::create_symlink(files.Path("nowhere"), files.Path("tree/dangling"));
  fs::create_directory_symlink(files.Path("tree"), files.Path("tree/loop"));
  c.Step("RemoveDirectory(true) of a folder with symbolic links to others");
  const bool removed = files.At("tree").RemoveDirectory(true);
  CERTIFY_REQUIRE(c, files.Has("precious/file"),
                  "links removed, never followed: the file that one points to as before",
                  "it is gone");
  CERTIFY_REQUIRE(c, removed && !files.Has("tree"), "true, and the folder gone",
                  removed ? "it is there" : "false");
}

/// Each level that holds a descriptor open on the way down counts against the process.
void Deep(Case& c) {
  Files files(c);
  std::string path = "deep";
  for (int i = 0; i < 40; ++i) path += "/level";
  files.Write(path + "/file");
  const int open = DescriptorCount();
  c.Step("RemoveDirectory(true) of 40 folders in each other");
  CERTIFY_REQUIRE(c, files.At("deep").RemoveDirectory(true) && !files.Has("deep"),
                  "true, and all gone", "something is left");
  CERTIFY_REQUIRE(c, DescriptorCount() <= open, "no file left open",
                  Text("%d", DescriptorCount() - open));
}

/// The contract lets the text go when Open returns.
void PathCopied(Case& c) {
  Files files(c);
  std::string path = files.Path("copied");
  IFileObject* const object = files.system.CreateFileObject();
  object->Open(path.c_str());
  std::fill(path.begin() + static_cast<long>(files.folder.path.size()) + 1, path.end(), 'x');
  c.Step("EnsureWritable after the text of the path has changed");
  object->EnsureWritable(true);
  CERTIFY_REQUIRE(c, files.Has("copied"), "the folder that Open named: the path is copied",
                  "it is not there");
}

void OpenedAgain(Case& c) {
  Files files(c);
  IFileObject& object = files.At("first");
  CERTIFY_REQUIRE(c, object.EnsureWritable(true), "true", "false");
  c.Step("Open of another path with the same object");
  CERTIFY_REQUIRE(c, object.Open(files.Path("second").c_str()) && object.EnsureWritable(true),
                  "true", "false");
  CERTIFY_REQUIRE(c, files.Has("first") && files.Has("second"), "both folders", "one of them");
  CERTIFY_REQUIRE(c, object.RemoveDirectory(false) && files.Has("first") && !files.Has("second"),
                  "the second one removed", "another");
}

void Unicode(Case& c) {
  Files files(c);
  const char* const name = "\xE6\x98\xA0\xE7\x94\xBB and \xC3\xBC";
  c.Step("EnsureWritable of a path in UTF-8 with a space");
  CERTIFY_REQUIRE(c, files.At(name).EnsureWritable(true) && files.Has(name),
                  "the folder of that name", "none");
}

void Impossible(Case& c) {
  Files files(c);
  IFileObject* const object = files.system.CreateFileObject();
  for (const std::string& path : {std::string(), "/" + std::string(20000, 'l')}) {
    c.Step(Text("Open of a path of %zu bytes", path.size()));
    CERTIFY_REQUIRE(c, !object->Open(path.c_str()) || !object->EnsureWritable(true),
                    "false from Open, or from EnsureWritable", "true");
  }
}

void Threads(Case& c) {
  Files files(c);
  c.Step("four threads make and remove folders");
  const auto work = [&](int number) {
    for (int i = 0; i < 40; ++i) {
      const std::string below = "t" + std::to_string(number) + "/deep/" + std::to_string(i);
      IFileObject& object = files.At(below);
      const bool made = object.EnsureWritable(true), there = files.Has(below),
                 removed = object.RemoveDirectory(true);
      CERTIFY_EXPECT(c, made && there && removed && !files.Has(below),
                     "each thread's folder made and removed",
                     Text("made %d, there %d, removed %d", made, there, removed));
      files.system.DestroyFileObject(&object);
    }
  };
  CaseThread one(c, [&] { work(1); }), two(c, [&] { work(2); });
  CaseThread three(c, [&] { work(3); }), four(c, [&] { work(4); });
}

void Thousands(Case& c) {
  Files files(c);
  c.Step("10,000 objects, one after the other");
  fs::create_directory(files.Path("many"));
  const int open = DescriptorCount();
  long before = 0;
  for (int i = 0; i < 10000; ++i) {
    if (i == 500) before = ResidentBytes();
    IFileObject& object = files.At("many");
    if (i % 100 == 0) object.EnsureWritable(false);
    files.system.DestroyFileObject(&object);
  }
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(
      c, grown < (1L << 19) && DescriptorCount() <= open, "objects leave nothing behind",
      Text("the process grew by %ld KiB and %d open files", grown >> 10, DescriptorCount() - open));
}

constexpr Promise kPromises[] = {
    {"files.objects", "Each call makes an object of its own.", Level::kBasic, "", Objects},
    {"files.existing", "A folder that is there can be written to, and stays as it is.",
     Level::kBasic, "files.objects", Existing},
    {"files.creates", "EnsureWritable makes the folder and the missing ones above it.",
     Level::kBasic, "files.objects", Creates},
    {"files.not-above", "Without createMissing nothing is made above it.", Level::kContract,
     "files.objects", NotAbove},
    {"files.in-the-way", "A file in the way is an answer of false, and stays.", Level::kContract,
     "files.objects", FileInTheWay},
    {"files.not-writable", "Where nobody may write the answer is false.", Level::kContract,
     "files.objects", NotWritable},
    {"files.removes-empty", "RemoveDirectory removes an empty folder.", Level::kContract,
     "files.objects", RemovesEmpty},
    {"files.removes-missing", "What does not exist counts as removed.", Level::kContract,
     "files.objects", RemovesMissing},
    {"files.keeps-full", "A folder that is not empty is removed only recursively.",
     Level::kContract, "files.objects", KeepsFull},
    {"files.removes-all", "Recursively everything in it goes first, and nothing else.",
     Level::kContract, "files.objects", RemovesAll},
    {"files.links", "Symbolic links are removed, never followed.", Level::kContract,
     "files.removes-all", Links},
    {"files.deep", "A deep tree is removed whole.", Level::kContract, "files.removes-all", Deep},
    {"files.path-copied", "The path is copied.", Level::kContract, "files.creates", PathCopied},
    {"files.opened-again", "An object can be pointed at another path.", Level::kContract,
     "files.creates files.removes-empty", OpenedAgain},
    {"files.utf-8", "Paths are UTF-8.", Level::kContract, "files.creates", Unicode},
    {"files.impossible", "A path that no file could have is refused.", Level::kContract,
     "files.objects", Impossible},
    {"files.threads", "Threads with objects of their own do not meet.", Level::kContract,
     "files.creates files.removes-all", Threads},
    {"files.thousands", "10,000 objects leave nothing behind.", Level::kFull, "files.objects",
     Thousands},
};

}  // namespace

PromiseGroup FilePromises() {
  return MakeGroup("Files", "qx/platform/IFileSystem.h",
                   "The module removes an application's temporary folder with all that is in it: a "
                   "link that is followed\n"
                   "there removes somebody else's files.",
                   kPromises);
}

}  // namespace plexion_certify
