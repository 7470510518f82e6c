// Gathers what a bug report needs.

#include "host/launcher/commands/Diagnosis.h"

#include <fcntl.h>
#include <gnu/libc-version.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <set>
#include <string_view>

#include "host/base/ModuleHandle.h"
#include "host/base/ReadFile.h"
#include "host/base/Text.h"
#include "host/contracts/IHostPlayer.h"
#include "host/contracts/Isolation.h"
#include "host/kernel/OperatorLog.h"
#include "host/launcher/commands/PlayStatus.h"
#include "host/launcher/commands/TarFile.h"
#include "host/launcher/commands/WindowTable.h"

namespace plexion_host {

namespace {

constexpr const char* kLeftOut = "(left out)";
/// Settings of this process's surroundings that change what it does.
constexpr const char* kVariables[] = {
    "DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR", "LANG",        "LC_ALL",
    "TZ",      "SDL_VIDEODRIVER", "http_proxy",      "https_proxy", "no_proxy"};

bool SaysSecret(std::string_view name) {
  std::string lower(name);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(tolower(c)); });
  constexpr const char* kWords[] = {"password", "passwd", "secret", "token", "proxyauth", "apikey"};
  return std::any_of(std::begin(kWords), std::end(kWords),
                     [&lower](const char* word) { return lower.find(word) != std::string::npos; });
}

/// "name=value" and lists of it.
std::string HideValues(const std::string& text) {
  std::string hidden;
  size_t begin = 0;
  while (begin <= text.size()) {
    const size_t end = std::min(text.find_first_of(",;&", begin), text.size());
    const std::string part = text.substr(begin, end - begin);
    const size_t equals = part.find('=');
    const bool secret = equals != std::string::npos && SaysSecret(part.substr(0, equals));
    hidden += secret ? part.substr(0, equals + 1) + kLeftOut : part;
    if (end < text.size()) hidden += text[end];
    begin = end + 1;
  }
  return hidden;
}

std::string ReadAll(const char* path, size_t most = size_t{1} << 20) {
  std::string text;
  FILE* const file = fopen(path, "re");
  if (file == nullptr) return text;
  char buffer[4096];
  for (size_t bytes = 1; bytes > 0 && text.size() < most;) {
    bytes = fread(buffer, 1, sizeof buffer, file);
    text.append(buffer, bytes);
  }
  fclose(file);
  return text;
}

std::string Versions() {
  utsname system{};
  uname(&system);
  std::string text = "Plexion " PLEXION_VERSION "\n";
  text +=
      std::string("kernel ") + system.sysname + " " + system.release + " " + system.machine + "\n";
  text += std::string("C library ") + gnu_get_libc_version() + "\n\n" + ReadAll("/etc/os-release");
  // Their names end in their versions.
  std::set<std::string> libraries;
  for (const std::string& line : SplitAt(ReadAll("/proc/self/maps", size_t{4} << 20), '\n')) {
    const size_t path = line.find('/');
    if (path != std::string::npos && line.find(".so", path) != std::string::npos) {
      char* const real = realpath(line.substr(path).c_str(), nullptr);
      if (real != nullptr) libraries.insert(real);
      free(real);
    }
  }
  text += "\nLibraries that are loaded:\n";
  for (const std::string& library : libraries) text += library + "\n";
  return text;
}

bool WriteFile(const std::string& path, const std::string& bytes, std::string& error) {
  // Whole, or not at all; and never through a link that somebody else laid there.
  const std::string part = path + ".part";
  unlink(part.c_str());
  const int file = open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  bool done = file >= 0;
  for (size_t at = 0; done && at < bytes.size();) {
    const ssize_t written = write(file, bytes.data() + at, bytes.size() - at);
    done = written > 0;
    if (done) at += static_cast<size_t>(written);
  }
  if (done) done = fsync(file) == 0;
  const int number = errno;
  if (file >= 0) close(file);
  if (done && rename(part.c_str(), path.c_str()) == 0) return true;
  error = path + ": " + std::strerror(done ? errno : number);
  if (file >= 0) unlink(part.c_str());
  return false;
}

}  // namespace

std::vector<std::string> WithoutSecrets(const std::vector<std::string>& arguments) {
  std::vector<std::string> shown;
  bool secret = false;  // the value of the option before
  for (const std::string& argument : arguments) {
    const bool option = argument.compare(0, 1, "-") == 0;
    if (secret && !option) {
      shown.emplace_back(kLeftOut);
      secret = false;
      continue;
    }
    const bool own = option && argument.find('=') == std::string::npos && SaysSecret(argument);
    secret = own;
    shown.push_back(HideValues(WithoutPasswords(argument)));
  }
  return shown;
}

Diagnosis::Diagnosis(HostKernel& kernel, CommandContext& context,
                     std::vector<std::string> arguments)
    : kernel_(kernel), context_(context), arguments_(std::move(arguments)) {}

std::string Diagnosis::WindowTable() {
  std::string table;
  context_.windows.WithWindows([&](std::vector<HostWindow>& all) {
    if (!all.empty()) table = FormatWindowTable(all, context_.windows.GetService());
  });
  return table;
}

void Diagnosis::Remember() {
  std::string table = WindowTable();
  const MutexLock lock(mutex_);
  // The last one goes alone; those that went right before it are told of in the log.
  lastTable_ = std::move(table);
}

std::string Diagnosis::Protection() {
  const char* const isolation = getenv(kIsolationVariable);
  if (isolation == nullptr || std::string_view(isolation) != "on") {
    return "none: contents are played by the launcher itself (--isolation off)\n";
  }
  std::string error;
  const ModuleHandle<IHostPlayer> player(kernel_, kernel_.TryAcquireModule("IHostPlayer", error));
  const std::string protection = player ? player->Protection() : error;
  return "each content in a process of its own; " +
         (protection.empty() ? "no content has been loaded yet" : protection) + "\n";
}

std::string Diagnosis::Options() const {
  std::string text;
  for (const std::string& argument : WithoutSecrets(arguments_)) text += argument + "\n";
  text += "\nEnvironment:\n";
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view line(*entry);
    const std::string name(line.substr(0, line.find('=')));
    const bool told =
        name.compare(0, 8, "PLEXION_") == 0 ||
        std::find(std::begin(kVariables), std::end(kVariables), name) != std::end(kVariables);
    if (told) text += HideValues(WithoutPasswords(line)) + "\n";
  }
  return text;
}

bool Diagnosis::Write(const std::string& path, std::string& error) {
  std::string windows = WindowTable();
  std::string status;
  if (windows.empty()) {
    const MutexLock lock(mutex_);
    windows = lastTable_.empty() ? "there are no windows\n" : "At the end:\n" + lastTable_;
  } else if (std::string fault; !StatusText(context_, true, status, fault)) {
    status = fault + "\n";
  }
  std::string log;
  for (const std::string& line : kernel_.GetConsole().LastLines(Console::kMostLastLines, true))
    log += line + "\n";
  TarFile bundle(time(nullptr));
  bundle.Add("plexion/versions.txt", Versions());
  bundle.Add("plexion/options.txt", Options());
  bundle.Add("plexion/windows.txt", windows);
  bundle.Add("plexion/status.json", status);
  bundle.Add("plexion/memory.txt", "The launcher:\n" + ReadAll("/proc/self/status") +
                                       "\nThe machine:\n" + ReadAll("/proc/meminfo") +
                                       "\nThe windows:\n" + windows);
  bundle.Add("plexion/log.txt", log);
  bundle.Add("plexion/protection.txt", Protection());
  return WriteFile(path, bundle.Finish(), error);
}

}  // namespace plexion_host
