// Landlock by its system calls: the C library has no functions for them, and this system's headers know
// only the first two versions.

#include "host/content/sandbox/Landlock.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <system_error>

#include "host/base/Descriptor.h"

namespace plexion_host::content {

namespace {

// As <linux/landlock.h> of later kernels.
constexpr uint64_t kTruncate = uint64_t{1} << 14;
constexpr uint64_t kDeviceCalls = uint64_t{1} << 15;
constexpr uint64_t kBindTcp = uint64_t{1} << 0;
constexpr uint64_t kConnectTcp = uint64_t{1} << 1;
constexpr uint64_t kScopeAbstractSockets = uint64_t{1} << 0;
constexpr uint64_t kScopeSignals = uint64_t{1} << 1;

struct RulesetAttributes {
  uint64_t files = 0;
  uint64_t ports = 0;   ///< from version 4 on
  uint64_t scopes = 0;  ///< from version 6 on
};

constexpr uint64_t kRead = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;

/// Every right to files that a version knows: what is named here and not allowed below is refused.
uint64_t FileRights(int version) {
  uint64_t rights = (uint64_t{1} << 13) - 1;
  if (version >= 2) rights |= LANDLOCK_ACCESS_FS_REFER;
  if (version >= 3) rights |= kTruncate;
  if (version >= 5) rights |= kDeviceCalls;
  return rights;
}

/// A kernel takes no more than the part of the record that it knows.
size_t RulesetBytes(int version) {
  if (version >= 6) return sizeof(RulesetAttributes);
  return version >= 4 ? offsetof(RulesetAttributes, scopes) : offsetof(RulesetAttributes, ports);
}

bool Allow(int ruleset, const std::string& path, uint64_t rights) {
  if (path.empty()) return true;
  const Descriptor file(open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!file) return true;  // what is not there needs no right
  struct stat status = {};
  landlock_path_beneath_attr rule = {};
  rule.parent_fd = file.Get();
  rule.allowed_access = rights;
  if (fstat(file.Get(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    rule.allowed_access &= ~uint64_t{LANDLOCK_ACCESS_FS_READ_DIR};
  }
  return syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
}

bool AllowAll(int ruleset, const Rights& rights, int version) {
  for (const std::string& path : rights.read) {
    if (!Allow(ruleset, path, kRead)) return false;
  }
  const uint64_t calls = version >= 5 && rights.deviceCalls ? kDeviceCalls : 0;
  for (const std::string& path : rights.devices) {
    if (!Allow(ruleset, path, kRead | LANDLOCK_ACCESS_FS_WRITE_FILE | calls)) return false;
  }
  return true;
}

}  // namespace

int LandlockOfKernel() {
  const long version =
      syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  return version < 0 ? 0 : static_cast<int>(version);
}

bool RestrictByLandlock(const Rights& rights, int version, std::string& error) {
  RulesetAttributes attributes;
  attributes.files = FileRights(version);
  // Nobody serves; with a right to the network one may ask.
  attributes.ports = kBindTcp | (rights.network ? 0 : kConnectTcp);
  attributes.scopes = kScopeSignals | (rights.localSockets ? 0 : kScopeAbstractSockets);
  const Descriptor ruleset(static_cast<int>(
      syscall(SYS_landlock_create_ruleset, &attributes, RulesetBytes(version), 0)));
  const bool done = ruleset && AllowAll(ruleset.Get(), rights, version) &&
                    syscall(SYS_landlock_restrict_self, ruleset.Get(), 0) == 0;
  if (!done) error = std::generic_category().message(errno);
  return done;
}

}  // namespace plexion_host::content
