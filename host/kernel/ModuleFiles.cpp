// Which file a module name stands for.

#include "host/kernel/ModuleFiles.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <sstream>

#include "host/base/Text.h"

namespace plexion_host {
namespace {

bool IsFile(const std::string& path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

// A name becomes part of a file name and of a symbol, so it is one word of C.
bool IsModuleName(const std::string& name) {
  const char* const letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
  return !name.empty() && name.find_first_not_of(letters) == std::string::npos;
}

}  // namespace

std::string ModuleFiles::Find(const std::string& name, std::string& error) const {
  if (!IsModuleName(name)) {
    error = "'" + name + "' is no module name (expected letters, digits and _)";
    return std::string();
  }
  const auto shared = sharedLibraries.find(name);
  auto mapped = map.find(name);
  if (mapped == map.end() && shared != sharedLibraries.end()) mapped = map.find(shared->second);
  std::string file = (shared != sharedLibraries.end() ? shared->second : name) + ".so";
  if (mapped != map.end()) {
    file = mapped->second;
    if (file.find('/') != std::string::npos) {
      if (IsFile(file)) return file;
      error = "no library " + file + " (from --modulemap)";
      return std::string();
    }
  }
  for (const std::string& folder : path) {
    const std::string candidate = folder + "/" + file;
    if (IsFile(candidate)) return candidate;
  }
  if (mapped != map.end() && IsFile(file)) return "./" + file;
  error = "no library " + file + " in " + (path.empty() ? "an empty module path" : Join(path));
  if (mapped != map.end()) error += ", the current folder (from --modulemap)";
  return std::string();
}

std::string ExecutableFolder() {
  char buffer[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", buffer, sizeof(buffer));
  if (length <= 0) return std::string();
  const std::string executable(buffer, static_cast<size_t>(length));
  const size_t slash = executable.rfind('/');
  return slash == std::string::npos ? std::string() : executable.substr(0, slash);
}

std::vector<std::string> ModulePath(const std::string& executableFolder,
                                    const std::vector<std::string>& folders,
                                    const char* environment) {
  std::vector<std::string> path;
  const auto add = [&path](std::string folder) {
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    if (!folder.empty()) path.push_back(folder);
  };
  if (!executableFolder.empty()) {
    add(executableFolder);
    const std::string installed = executableFolder + "/../lib/plexion";
    struct stat info {};
    if (stat(installed.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) add(installed);
  }
  for (const std::string& folder : folders) add(folder);
  std::istringstream listed(environment != nullptr ? environment : "");
  for (std::string folder; std::getline(listed, folder, ':');) add(folder);
  return path;
}

}  // namespace plexion_host
