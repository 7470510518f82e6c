// What the command line and the profile file ask for.

#ifndef KIT_CERTIFY_OPTIONS_H_
#define KIT_CERTIFY_OPTIONS_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "kit/certify/Promise.h"

namespace plexion_certify {

/// Everything that a run is told. The process of a single case gets the same words, and reads them again.
struct Options {
  std::string kernelFile;  ///< empty: the kit's own kernel
  std::map<std::string, std::string>
      modules;                             ///< under test: name to file; empty file: the kernel's
  bool wholeHost = false;                  ///< kernel and modules are one host's
  std::string plexionFile;                 ///< the module itself
  std::vector<std::string> hostArguments;  ///< of the host's command line, after its name

  std::vector<std::string> only;  ///< ids, or beginnings of ids that end with a dot
  Level level = Level::kFull;
  uint64_t seed = 1;
  unsigned jobs = 0;  ///< 0: as many as there are processors
  double limitSeconds = 20;
  bool firstOnly = false;  ///< nothing is tried any more that stands behind a broken promise
  bool warningsFail = false;
  bool verbose = false;
  std::string jsonFile;
  enum class List { kNo, kText, kMarkdown } list = List::kNo;

  // The profile: what a device has not, and what its player plays.
  std::map<std::string, std::string> absent;  ///< beginning of ids to reason
  std::string content;                        ///< plays for two seconds at least, and ends
  bool shellReadsInput = true;                ///< commands can be typed at standard input
  bool consoleIsOutput = true;                ///< Printf goes to standard output or standard error

  // Of the process of a case.
  std::string caseId;
  int reportFd = -1;

  /// Whether the module is under test.
  bool Has(const std::string& moduleName) const { return modules.count(moduleName) != 0; }
  /// Whether some module under test is one that the kernel finds by itself.
  bool KernelFindsModules() const {
    for (const auto& [name, file] : modules) {
      if (file.empty()) return true;
    }
    return false;
  }
};

/// Returns  false with the reason in `error`; "help" when help was asked for.
bool ReadOptions(int argc, char** argv, Options& options, std::string& error);

/// What --help prints.
const char* UsageText();

/// The module names that there are promises for, and the interface's word in their ids.
const std::vector<std::pair<const char*, const char*>>& KnownModules();

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_OPTIONS_H_
