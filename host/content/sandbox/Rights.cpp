// The table of rights.

#include "host/content/sandbox/Rights.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "host/base/Text.h"
#include "host/contracts/DataDirectory.h"
#include "host/player/content/CaptionAddress.h"

namespace plexion_host::content {

namespace {

using player::ContentKind;

/// Libraries, fonts, locales, time zones, kinds of files: what is looked up while something is drawn.
constexpr const char* kEverybodyReads[] = {
    "/usr/lib",         "/usr/lib64",       "/lib",
    "/lib64",           "/usr/local/lib",   "/usr/share",
    "/usr/local/share", "/etc/fonts",       "/etc/localtime",
    "/etc/timezone",    "/etc/ld.so.cache", "/var/cache/fontconfig",
    "/proc/self",       "/proc/cpuinfo",    "/proc/meminfo",
    "/proc/stat",       "/proc/sys/vm",     "/sys/devices/system/cpu",
    "/dev/zero",        "/dev/urandom",     "/dev/random"};

/// The same below the home folder.
constexpr const char* kAtHome[] = {"/.fonts", "/.local/share/fonts", "/.config/fontconfig",
                                   "/.cache/fontconfig", "/.cache/gstreamer-1.0"};

/// Names of machines, and who signs for them.
constexpr const char* kNetworkReads[] = {
    "/etc/resolv.conf", "/etc/hosts",    "/etc/nsswitch.conf",  "/etc/gai.conf",
    "/etc/host.conf",   "/etc/services", "/etc/protocols",      "/etc/ssl",
    "/etc/pki",         "/etc/gnutls",   "/run/systemd/resolve"};

constexpr const char* kSoundReads[] = {"/etc/alsa",     "/etc/asound.conf", "/etc/pulse",
                                       "/etc/pipewire", "/var/lib/alsa",    "/etc/machine-id"};
constexpr const char* kSoundAtHome[] = {"/.asoundrc", "/.config/alsa", "/.config/pulse", "/.pulse"};

/// Without a limit of its own, a window may use this share of the machine.
constexpr uint64_t kShareOfMachine = 2;
constexpr uint64_t kLeastMemory = uint64_t{1} << 30;
/// Stacks of threads and what libraries hold in advance count, though nothing of it is used.
constexpr uint64_t kUnusedMemory = uint64_t{1} << 30;

std::string Variable(const char* name) {
  const char* const value = getenv(name);
  return value == nullptr ? "" : value;
}

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool IsFolder(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

template <size_t kCount>
void AddAll(std::vector<std::string>& to, const char* const (&paths)[kCount],
            const std::string& below = "") {
  for (const char* const path : paths) to.push_back(below + path);
}

void AddApplication(Rights& rights, const std::string& path,
                    const player::PlayerSettings& settings) {
  rights.read.push_back(IsFolder(path) ? path : FolderOf(path));
  player::ContentAddress base;
  std::string ignored;  // the application says what is wrong with it
  if (!IsFolder(path) && player::ResolveContentAddress(settings.zorBase, "", base, ignored)) {
    rights.read.push_back(base.path);
  }
  rights.read.push_back(settings.extensionsDir);
}

void AddNetwork(Rights& rights, const player::PlayerSettings& settings) {
  rights.network = true;
  AddAll(rights.read, kNetworkReads);
  rights.read.push_back(settings.sslCertsDir);
  const std::string data = Variable(kDataDirectoryVariable);
  rights.read.push_back((data.empty() ? kInstallBase : data) + "/data/config/ssl/certs");
  // "HOST=FILE,HOST=FILE"
  for (const std::string& entry : SplitAt(settings.sslClientCertTable, ',')) {
    const size_t equals = entry.find('=');
    if (equals != std::string::npos) rights.read.push_back(entry.substr(equals + 1));
  }
}

void AddSound(Rights& rights) {
  rights.localSockets = true;
  rights.deviceCalls = true;
  AddAll(rights.read, kSoundReads);
  rights.devices.insert(rights.devices.end(), {"/dev/snd", "/dev/shm"});
  const std::string home = Variable("HOME");
  if (!home.empty()) AddAll(rights.read, kSoundAtHome, home);
  const std::string runtime = Variable("XDG_RUNTIME_DIR");
  if (runtime.empty()) return;
  for (const char* const name : {"/pulse", "/pipewire-0"}) rights.read.push_back(runtime + name);
}

uint64_t MemoryLimit(uint64_t window) {
  const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  const auto pages = static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES));
  const uint64_t share = std::max(kLeastMemory, pages * page / kShareOfMachine);
  return std::min(window, share) + kUnusedMemory;
}

}  // namespace

Rights RightsFor(const player::remote::ContentOrder& order, const player::ContentAddress& content,
                 const player::PlayerSettings& settings, bool sound) {
  Rights rights;
  rights.memoryBytes = MemoryLimit(order.memoryBytes);
  AddAll(rights.read, kEverybodyReads);
  rights.devices.push_back("/dev/null");
  const std::string home = Variable("HOME");
  if (!home.empty()) AddAll(rights.read, kAtHome, home);
  for (const std::string& folder : SplitAt(settings.fontDirs, ',')) rights.read.push_back(folder);

  switch (order.kind) {
    case ContentKind::kMovie:
      // Its pictures and data lie beside it.
      rights.read.push_back(FolderOf(content.path));
      break;
    case ContentKind::kApplication:
      AddApplication(rights, content.path, settings);
      break;
    case ContentKind::kPicture:
      rights.read.push_back(content.path);
      break;
    case ContentKind::kMedia:
      rights.read.push_back(content.path);
      rights.read.push_back(player::CaptionAddress(content.path, settings));
      break;
    default:
      // A list of files that lie beside it, maybe.
      if (!content.path.empty()) rights.read.push_back(FolderOf(content.path));
      break;
  }
  // Only content whose address lies there, and applications that declare addresses.
  if (order.network) AddNetwork(rights, settings);
  const bool silent = order.kind == ContentKind::kMovie || order.kind == ContentKind::kPicture;
  if (sound && !silent) AddSound(rights);
  return rights;
}

}  // namespace plexion_host::content
