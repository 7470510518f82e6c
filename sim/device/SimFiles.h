// A file system that knows directories only.

#ifndef SIM_DEVICE_SIMFILES_H_
#define SIM_DEVICE_SIMFILES_H_

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "qx/platform/IFileSystem.h"
#include "sim/device/ScriptedModule.h"

namespace plexion_sim {

class SimFiles;

class SimFileObject final : public qx::platform::IFileObject {
 public:
  SimFileObject(SimFiles& files, std::string name) : files_(files), name_(std::move(name)) {}
  bool Open(const char* path) override;
  bool EnsureWritable(bool createMissing) override;
  bool RemoveDirectory(bool recursive) override;

 private:
  friend class SimFiles;
  bool Use(const char* call) const;

  SimFiles& files_;
  std::string name_;
  std::string path_;
  bool open_ = false;
  bool destroyed_ = false;
};

/// "IFileSystem" as a tree in memory. Paths are absolute, without a slash at their end.
class SimFiles final : public qx::platform::IFileSystem, public ScriptedModule {
 public:
  explicit SimFiles(SimKernel& kernel) : ScriptedModule(kernel, "IFileSystem") {}

  // The script.
  /// Makes a directory, and those above it.
  void AddDirectory(const std::string& path);
  /// Nothing at or below `path` can be written or made.
  void Refuse(const std::string& path) { refused_.push_back(path); }

  bool Exists(const std::string& path) const { return directories_.count(path) > 0; }
  const std::set<std::string>& Directories() const { return directories_; }
  unsigned LiveObjects() const;

  // IFileSystem.
  qx::platform::IFileObject* CreateFileObject() override;
  void DestroyFileObject(qx::platform::IFileObject* object) override;

 private:
  friend class SimFileObject;
  bool IsRefused(const std::string& path) const;

  std::set<std::string> directories_ = {"/", "/tmp"};
  std::vector<std::string> refused_;
  std::vector<std::unique_ptr<SimFileObject>> objects_;
};

}  // namespace plexion_sim

#endif  // SIM_DEVICE_SIMFILES_H_
