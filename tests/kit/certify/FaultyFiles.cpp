// File systems that are wrong in one thing each.

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "qx/core/IQXKernel.h"
#include "qx/platform/IFileSystem.h"
#include "tests/kit/certify/Fault.h"

namespace {

namespace fs = std::filesystem;

class FaultyFile final : public qx::platform::IFileObject {
 public:
  bool Open(const char* path) override {
    if (FAULT("open-wants-an-existing-file") && !fs::exists(path)) return false;
    if (FAULT("open-only-once") && !path_.empty()) return true;
    borrowed_ = path;
    path_ = path;
    if (FAULT("open-knows-ascii-only")) {
      for (char& byte : path_) byte = static_cast<char>(byte & 0x7F);
    }
    if (FAULT("open-takes-every-path")) return true;
    return !path_.empty() && path_.size() < 4096;
  }

  bool EnsureWritable(bool createMissing) override {
    const fs::path path(FAULT("open-borrows-path") ? borrowed_ : path_.c_str());
    std::error_code failed;
    if (FAULT("open-takes-every-path") && (path_.empty() || path_.size() >= 4096)) return true;
    if (FAULT("ensure-trusts-the-owner") && path_.find("/proc/") == 0) return true;
    if (FAULT("ensure-changes-the-working-directory") && createMissing && !fs::exists(path_)) {
      // One working directory is the whole process's.
      fs::create_directories(path.parent_path(), failed);
      fs::current_path(path.parent_path(), failed);
      std::this_thread::sleep_for(std::chrono::microseconds(50));
      fs::create_directory(path.filename(), failed);
      return fs::is_directory(path, failed);
    }
    if (FAULT("ensure-always-true")) return fs::create_directories(path, failed), true;
    if (FAULT("ensure-refuses-existing") && fs::exists(path, failed)) return false;
    if (FAULT("ensure-makes-files") && !fs::exists(path, failed))
      return (std::ofstream(path) << "x").good();
    if (FAULT("ensure-always-makes-above")) createMissing = true;
    if (FAULT("ensure-makes-last-only")) createMissing = false;
    if (FAULT("ensure-replaces-a-file") && fs::is_regular_file(path, failed)) fs::remove(path);
    if (FAULT("ensure-leaves-a-probe") && fs::is_directory(path, failed))
      std::ofstream(path / ".writable") << "x";
    if (createMissing) {
      fs::create_directories(path, failed);
    } else {
      fs::create_directory(path, failed);
    }
    return fs::is_directory(path, failed) && access(path.c_str(), W_OK | X_OK) == 0 &&
           path.string().find("/proc/") != 0;
  }

  bool RemoveDirectory(bool recursive) override {
    std::error_code failed;
    if (FAULT("remove-missing-is-false") && !fs::exists(path_, failed)) return false;
    if (FAULT("remove-is-always-recursive")) recursive = true;
    if (FAULT("remove-does-nothing")) return true;
    if (FAULT("remove-follows-links") && recursive) return Follow(path_, 0), true;
    if (FAULT("remove-spares-hidden") && recursive && fs::exists(path_)) {
      for (const auto& entry : fs::directory_iterator(path_, failed)) {
        if (entry.path().filename().string()[0] != '.') fs::remove_all(entry.path(), failed);
      }
      return fs::remove(path_, failed);
    }
    if (FAULT("remove-takes-what-is-beside") && recursive)
      return fs::remove_all(fs::path(path_).parent_path(), failed), true;
    if (FAULT("remove-ten-levels-only") && recursive &&
        fs::exists(path_ + "/level/level/level/level/level/level/level/level/level/level"))
      return false;
    if (recursive) {
      fs::remove_all(path_, failed);
    } else {
      fs::remove(path_, failed);
    }
    return !failed && !fs::exists(path_);
  }

 private:
  static void Follow(const fs::path& path, int depth) {
    std::error_code failed;
    if (depth > 6) return;
    if (fs::is_directory(path, failed)) {
      for (const auto& entry : fs::directory_iterator(path, failed))
        Follow(entry.path(), depth + 1);
    } else if (fs::is_symlink(path, failed)) {
      fs::remove(fs::canonical(path, failed), failed);
    }
    fs::remove(path, failed);
  }

  std::string path_;
  const char* borrowed_ = "";
};

class FaultyFiles final : public qx::platform::IFileSystem {
 public:
  qx::platform::IFileObject* CreateFileObject() override {
    static FaultyFile everybodys;
    if (FAULT("objects-are-one")) return &everybodys;
    return new FaultyFile;
  }
  void DestroyFileObject(qx::platform::IFileObject* object) override {
    if (FAULT("objects-are-one") || FAULT("objects-leak")) return;
    delete static_cast<FaultyFile*>(object);
  }
};

}  // namespace

extern "C" QX_EXPORT IQXModule* IQXModule_IFileSystem_ModuleLoad() { return new FaultyFiles; }
extern "C" QX_EXPORT void IQXModule_IFileSystem_ModuleUnload(IQXModule* module) {
  if (FAULT("files-unload-crashes")) abort();
  delete module;
}
