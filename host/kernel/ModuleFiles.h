// Which file a module name stands for.

#ifndef HOST_KERNEL_MODULEFILES_H_
#define HOST_KERNEL_MODULEFILES_H_

#include <map>
#include <string>
#include <vector>

namespace plexion_host {

/// Which file a module name stands for.
struct ModuleFiles {
  /// Folders in the order in which they are searched for <Name>.so.
  std::vector<std::string> path;
  /// NAME to FILE. A file without a slash is searched for on the path, then in the current folder.
  std::map<std::string, std::string> map;
  /// Names that live in the library of another name, so that mapping that one maps both.
  std::map<std::string, std::string> sharedLibraries;

  /// Finds the library of `name`.
  /// Returns  its path, or empty with the reason (what was looked for, and where) in `error`.
  std::string Find(const std::string& name, std::string& error) const;
};

/// The folder of this process's executable, without a slash at the end; empty when unknown.
std::string ExecutableFolder();

/// The module path of a launcher that stands in `executableFolder`: that folder and the
/// "lib/plexion" beside it of an installed launcher, then `folders`, then the folders of
/// `environment` (PLEXION_MODULE_PATH, separated by colons; may be null).
std::vector<std::string> ModulePath(const std::string& executableFolder,
                                    const std::vector<std::string>& folders,
                                    const char* environment);

}  // namespace plexion_host

#endif  // HOST_KERNEL_MODULEFILES_H_
