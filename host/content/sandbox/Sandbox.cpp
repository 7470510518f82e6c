// The layers, in the order in which they must come.

#include "host/content/sandbox/Sandbox.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include "host/base/Text.h"
#include "host/content/sandbox/Landlock.h"
#include "host/content/sandbox/SystemCalls.h"

namespace plexion_host::content {

namespace {

constexpr rlim_t kMostFile = rlim_t{64} << 20;
constexpr rlim_t kMostDescriptors = 1024;
/// Of a library that still opens something.
constexpr std::chrono::milliseconds kPatience{3000};

/// Never more than it is now.
bool Limit(int resource, rlim_t most) {
  rlimit limit = {};
  if (getrlimit(static_cast<__rlimit_resource>(resource), &limit) != 0) return false;
  limit.rlim_max = std::min(limit.rlim_max, most);
  limit.rlim_cur = limit.rlim_max;
  return setrlimit(static_cast<__rlimit_resource>(resource), &limit) == 0;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

bool LimitResources(const Rights& rights) {
  // A sanitizer keeps terabytes of addresses.
  if (!kSanitized && !Limit(RLIMIT_DATA, rights.memoryBytes)) return false;
  return Limit(RLIMIT_CORE, 0) && Limit(RLIMIT_FSIZE, kMostFile) &&
         Limit(RLIMIT_NOFILE, kMostDescriptors);
}

/// When the machine is short of memory, content goes before the launcher.
void GoFirst() {
  const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
  if (file < 0) return;
  const ssize_t written = write(file, "800", 3);
  (void)written;  // then the system chooses as it likes
  close(file);
}

int CountThreads() {
  DIR* const folder = opendir("/proc/self/task");
  if (folder == nullptr) return 1;
  int count = 0;
  while (const dirent* const entry = readdir(folder)) count += entry->d_name[0] == '.' ? 0 : 1;
  closedir(folder);
  return count;
}

bool WaitUntilAlone() {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (CountThreads() > 1) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

int LandlockVersion() {
  const char* const forced = getenv("PLEXION_LANDLOCK");
  const int kernel = std::min(LandlockOfKernel(), kKnownLandlock);
  const auto lower = ReadWholeNumber(forced == nullptr ? "" : forced, 0, kKnownLandlock);
  return lower ? std::min(kernel, static_cast<int>(*lower)) : kernel;
}

}  // namespace

std::string GiveUpRights(const Rights& rights) {
  std::vector<std::string> layers;
  GoFirst();
  // Both layers below ask for it.
  const bool noPrivileges = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
  const int version = LandlockVersion();
  std::string error;
  if (version == 0) {
    // What writes to a sound device may then write to any file that is there.
    layers.emplace_back(rights.deviceCalls
                            ? "no Landlock in this kernel, so that content with sound may read and "
                              "write the user's files"
                            : "no Landlock in this kernel, so that files are only protected from "
                              "being written");
  } else if (!WaitUntilAlone()) {
    layers.emplace_back("no Landlock: a library keeps threads");
  } else if (RestrictByLandlock(rights, version, error)) {
    layers.push_back("Landlock " + std::to_string(version));
  } else {
    layers.push_back("no Landlock: " + error);
  }
  // Before the filter, which lets limits alone.
  const bool limited = LimitResources(rights);
  if (RestrictSystemCalls(rights, error)) {
    layers.emplace_back("system call filter");
  } else {
    layers.push_back("no system call filter: " + error);
  }
  layers.emplace_back(limited ? "limits" : "no limits");
  if (!noPrivileges) layers.emplace_back("new privileges possible");
  return Join(layers);
}

}  // namespace plexion_host::content
