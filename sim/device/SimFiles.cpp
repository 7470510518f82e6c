// The scripted file system.

#include "sim/device/SimFiles.h"

#include <algorithm>

namespace plexion_sim {

namespace {

std::string WithoutEndSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

std::string Parent(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

bool IsAtOrBelow(const std::string& path, const std::string& top) {
  if (top == "/") return true;
  return path.compare(0, top.size(), top) == 0 &&
         (path.size() == top.size() || path[top.size()] == '/');
}

}  // namespace

void SimFiles::AddDirectory(const std::string& path) {
  for (std::string at = WithoutEndSlash(path); directories_.insert(at).second; at = Parent(at)) {
  }
}

bool SimFiles::IsRefused(const std::string& path) const {
  return std::any_of(refused_.begin(), refused_.end(),
                     [&](const std::string& top) { return IsAtOrBelow(path, top); });
}

unsigned SimFiles::LiveObjects() const {
  return static_cast<unsigned>(std::count_if(
      objects_.begin(), objects_.end(), [](const auto& object) { return !object->destroyed_; }));
}

qx::platform::IFileObject* SimFiles::CreateFileObject() {
  Enter("CreateFileObject");
  if (kernel_.GetFaults().Fails(Fallible::kCreateFileObject)) {
    kernel_.Note("CreateFileObject", "-> null");
    return nullptr;
  }
  const std::string objectName = "file" + std::to_string(objects_.size() + 1);
  kernel_.Note("CreateFileObject", "-> " + objectName);
  objects_.push_back(std::make_unique<SimFileObject>(*this, objectName));
  return objects_.back().get();
}

void SimFiles::DestroyFileObject(qx::platform::IFileObject* object) {
  Enter("DestroyFileObject");
  auto* known = static_cast<SimFileObject*>(object);
  if (known == nullptr) {
    kernel_.Report(FindingKind::kContract, "DestroyFileObject of null");
    return;
  }
  if (!known->Use("DestroyFileObject")) return;
  kernel_.Note("DestroyFileObject", known->name_);
  known->destroyed_ = true;
}

bool SimFileObject::Use(const char* call) const {
  if (destroyed_) {
    files_.kernel_.Report(FindingKind::kUseAfterDestroy,
                          std::string(call) + " of " + name_ + ", which is destroyed");
  }
  return !destroyed_;
}

bool SimFileObject::Open(const char* path) {
  files_.Enter("Open");
  if (!Use("Open")) return false;
  open_ = path != nullptr && !files_.kernel_.GetFaults().Fails(Fallible::kFileOpen, path) &&
          path[0] == '/';
  if (open_) path_ = WithoutEndSlash(path);
  files_.kernel_.Note("Open", name_ + " '" + (path == nullptr ? "null" : path) + "' -> " +
                                  (open_ ? "true" : "false"));
  return open_;
}

bool SimFileObject::EnsureWritable(bool createMissing) {
  files_.Enter("EnsureWritable");
  if (!Use("EnsureWritable")) return false;
  const bool failed =
      files_.kernel_.GetFaults().Fails(Fallible::kFileEnsureWritable, path_.c_str());
  bool can = open_ && !failed && !files_.IsRefused(path_);
  if (can && !files_.Exists(path_)) {
    can = createMissing;
    if (can) files_.AddDirectory(path_);
  }
  files_.kernel_.Note("EnsureWritable", name_ + " '" + path_ + "'" +
                                            (createMissing ? ", create" : "") + " -> " +
                                            (can ? "true" : "false"));
  return can;
}

bool SimFileObject::RemoveDirectory(bool recursive) {
  files_.Enter("RemoveDirectory");
  if (!Use("RemoveDirectory")) return false;
  const bool failed =
      files_.kernel_.GetFaults().Fails(Fallible::kFileRemoveDirectory, path_.c_str());
  bool can = open_ && !failed && !files_.IsRefused(path_);
  std::vector<std::string> below;
  for (const std::string& directory : files_.directories_) {
    if (can && IsAtOrBelow(directory, path_)) below.push_back(directory);
  }
  if (!recursive && below.size() > 1) can = false;
  if (can) {
    for (const std::string& directory : below) files_.directories_.erase(directory);
  }
  files_.kernel_.Note("RemoveDirectory", name_ + " '" + path_ + "'" +
                                             (recursive ? ", recursive" : "") + " -> " +
                                             (can ? "true" : "false"));
  return can;
}

}  // namespace plexion_sim
