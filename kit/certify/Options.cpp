// Reads the command line, and the profile that it may name.

#include "kit/certify/Options.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>

#include "host/base/Text.h"

namespace plexion_certify {
namespace {

namespace fs = std::filesystem;

// Seconds for a case: what a process needs to begin, and a day.
constexpr double kShortestLimit = 0.01, kLongestLimit = 86400;
constexpr uintmax_t kMostProfileBytes = 1 << 20;

std::string OwnFolder() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof(path));
  if (length <= 0) return ".";
  return fs::path(std::string(path, static_cast<size_t>(length))).parent_path().string();
}

std::string Whole(const std::string& file) {
  std::error_code ignored;
  const fs::path path = fs::absolute(file, ignored);
  return ignored ? file : path.lexically_normal().string();
}

bool IsFile(const std::string& file) {
  struct stat info {};
  return stat(file.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

/// Whether the library speaks of the entry point: to load every library of a folder would run it.
bool MentionsKernelEntry(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return bytes.find("PlexionHost_CreateKernel") != std::string::npos;
}

/// A host in a folder: the library with the kernel, and a module <Name>.so for each interface.
bool ReadHostFolder(const std::string& folder, Options& options, std::string& error) {
  std::error_code failed;
  std::vector<fs::path> kernels;
  for (const auto& entry : fs::directory_iterator(folder, failed)) {
    if (entry.path().extension() != ".so" || !entry.is_regular_file()) continue;
    if (MentionsKernelEntry(entry.path())) kernels.push_back(entry.path());
  }
  if (failed) {
    error = "--host " + folder + ": " + failed.message() + "; expected a folder of libraries";
    return false;
  }
  if (options.kernelFile.empty()) {
    if (kernels.size() != 1) {
      error =
          "--host " + folder + ": " + std::to_string(kernels.size()) +
          " libraries (*.so) with PlexionHost_CreateKernel; expected one, or name it with --kernel";
      return false;
    }
    options.kernelFile = Whole(kernels[0].string());
  }
  for (const auto& [name, word] : KnownModules()) {
    const std::string file = folder + "/" + name + ".so";
    if (IsFile(file) && !options.Has(name)) options.modules[name] = Whole(file);
  }
  options.wholeHost = true;
  return true;
}

bool ReadProfile(const std::string& file, Options& options, std::string& error) {
  using Json = nlohmann::json;
  std::error_code unknown;
  if (!IsFile(file) || fs::file_size(file, unknown) > kMostProfileBytes) {
    error = "--profile " + file + ": expected a file, of 1 MiB at most";
    return false;
  }
  std::ifstream in(file);
  const Json document = Json::parse(in, nullptr, false, true);
  const std::string where = "--profile " + file + ": ";
  if (!document.is_object()) {
    error =
        where + (in ? "no JSON object" : "cannot be read") + "; expected {\"absent\": {...}, ...}";
    return false;
  }
  for (const auto& [key, value] : document.items()) {
    const std::string at = where + "\"" + key + "\": ";
    if (key == "absent" && value.is_object()) {
      for (const auto& [id, reason] : value.items()) {
        const auto fits = [&id = id](const PromiseGroup& group) {
          return !id.empty() &&
                 std::any_of(group.promises, group.promises + group.count, [&id](const Promise& p) {
                   return std::string(p.id).compare(0, id.size(), id) == 0;
                 });
        };
        if (std::none_of(Groups().begin(), Groups().end(), fits) || !reason.is_string()) {
          error = at + "\"" + id + "\" is no id, nor the beginning of one, with a reason as text";
          return false;
        }
        options.absent[id] = reason.get<std::string>();
      }
    } else if (key == "content" && value.is_string()) {
      // Beside the profile: a device maker keeps both in one folder.
      const fs::path content(value.get<std::string>());
      options.content = content.is_absolute()
                            ? content.string()
                            : Whole((fs::path(file).parent_path() / content).string());
    } else if (key == "arguments" && value.is_array()) {
      for (const Json& word : value) {
        options.hostArguments.push_back(word.is_string() ? word.get<std::string>() : word.dump());
      }
    } else if (key == "shellReadsInput" && value.is_boolean()) {
      options.shellReadsInput = value.get<bool>();
    } else if (key == "consoleIsOutput" && value.is_boolean()) {
      options.consoleIsOutput = value.get<bool>();
    } else if (key == "limitSeconds" && value.is_number() &&
               value.get<double>() >= kShortestLimit && value.get<double>() <= kLongestLimit) {
      options.limitSeconds = value.get<double>();
    } else {
      error = at +
              "not understood; expected absent {ID: REASON}, content TEXT, arguments [TEXT...], "
              "shellReadsInput BOOL, consoleIsOutput BOOL, limitSeconds NUMBER";
      return false;
    }
  }
  return true;
}

bool ReadModule(const std::string& text, Options& options, std::string& error) {
  const size_t equals = text.find('=');
  const std::string name = text.substr(0, equals);
  for (const auto& [known, word] : KnownModules()) {
    if (name != known) continue;
    options.modules[name] = equals == std::string::npos ? "" : Whole(text.substr(equals + 1));
    return true;
  }
  error = "--module " + text +
          ": expected NAME=FILE, or NAME for one that the kernel finds, and NAME one of";
  for (const auto& [known, word] : KnownModules()) error += std::string(" ") + known;
  return false;
}

bool ReadLevel(const std::string& text, Level& level) {
  for (const Level each : {Level::kBasic, Level::kContract, Level::kFull}) {
    if (text != LevelName(each)) continue;
    level = each;
    return true;
  }
  return false;
}

/// Files that are named must be there: a case that cannot load them would say so a hundred times.
bool CheckFiles(const Options& options, std::string& error) {
  std::vector<std::pair<std::string, std::string>> files = {{"--kernel", options.kernelFile},
                                                            {"--plexion", options.plexionFile}};
  for (const auto& [name, file] : options.modules) files.emplace_back("--module " + name, file);
  for (const auto& [option, file] : files) {
    if (file.empty() || IsFile(file)) continue;
    error = option + " " + file + ": there is no such file";
    return false;
  }
  return true;
}

}  // namespace

const std::vector<std::pair<const char*, const char*>>& KnownModules() {
  static const std::vector<std::pair<const char*, const char*>> known = {
      {"IGraphicsDriver", "graphics"}, {"IMorvelRuntimeLib", "player"}, {"IShell", "shell"},
      {"IFileSystem", "files"},        {"ISystemDriver", "system"},     {"ILocaleUtils", "locale"},
      {"IUserInputDriver", "input"},   {"IMouseStream", "pointer"}};
  return known;
}

bool ReadOptions(int argc, char** argv, Options& options, std::string& error) {
  std::string hostFolder;
  const auto module = [&](const char* name) {
    return [&options, name](const std::string& value) {
      options.modules[name] = Whole(value);
      return true;
    };
  };
  const auto number = [&](auto& field, double least, double most) {
    return [&field, least, most](const std::string& value) {
      const auto read = plexion_host::ReadNumber(value, least, most);
      if (!read) return false;
      field = static_cast<std::remove_reference_t<decltype(field)>>(*read);
      return true;
    };
  };
  const auto text = [](std::string& field, bool isFile) {
    return [&field, isFile](const std::string& value) {
      field = isFile ? Whole(value) : value;
      return !value.empty();
    };
  };
  const std::map<std::string, std::function<bool(const std::string&)>> withValue = {
      {"--kernel", text(options.kernelFile, true)},
      {"--plexion", text(options.plexionFile, true)},
      {"--graphics", module("IGraphicsDriver")},
      {"--player", module("IMorvelRuntimeLib")},
      {"--shell", module("IShell")},
      {"--files", module("IFileSystem")},
      {"--module", [&](const std::string& value) { return ReadModule(value, options, error); }},
      {"--host", text(hostFolder, true)},
      {"--content", text(options.content, true)},
      {"--profile", [&](const std::string& value) { return ReadProfile(value, options, error); }},
      {"--argument",
       [&](const std::string& value) {
         options.hostArguments.push_back(value);
         return true;
       }},
      {"--only",
       [&](const std::string& value) {
         options.only.push_back(value);
         return value.back() == '.' || FindPromise(value) != nullptr;
       }},
      {"--level", [&](const std::string& value) { return ReadLevel(value, options.level); }},
      {"--seed", number(options.seed, 0, 1e15)},
      {"--jobs", number(options.jobs, 0, 1024)},
      {"--limit", number(options.limitSeconds, kShortestLimit, kLongestLimit)},
      {"--json", text(options.jsonFile, true)},
      {"--case", text(options.caseId, false)},
      {"--report-fd", number(options.reportFd, 0, 1023)},
  };
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const auto found = withValue.find(word);
    if (word == "--help" || word == "-h") {
      error = "help";
      return false;
    } else if (word == "--verbose") {
      options.verbose = true;
    } else if (word == "--first") {
      options.firstOnly = true;
    } else if (word == "--warnings-fail") {
      options.warningsFail = true;
    } else if (word == "--list") {
      const bool page = i + 1 < argc && std::strcmp(argv[i + 1], "markdown") == 0;
      options.list = page ? Options::List::kMarkdown : Options::List::kText;
      i += page ? 1 : 0;
    } else if (found == withValue.end()) {
      error = word + ": no such option; --help lists them";
      return false;
    } else if (i + 1 >= argc || argv[i + 1][0] == '\0') {
      error = word + ": expected a value after it";
      return false;
    } else if (!found->second(argv[++i])) {
      if (error.empty()) error = word + " " + argv[i] + ": not understood; see --help";
      return false;
    }
  }
  if (options.list != Options::List::kNo) return true;
  if (!hostFolder.empty() && !ReadHostFolder(hostFolder, options, error)) return false;
  if (options.plexionFile.empty()) {
    for (const char* place : {"/IPlexion.so", "/../lib/plexion/IPlexion.so"}) {
      if (options.plexionFile.empty() && IsFile(OwnFolder() + place)) {
        options.plexionFile = Whole(OwnFolder() + place);
      }
    }
  }
  if (options.kernelFile.empty() && options.modules.empty()) {
    error = "nothing to certify: name a --kernel, a --module or a --host; --help lists the options";
    return false;
  }
  return CheckFiles(options, error);
}

const char* UsageText() {
  return "plexion-certify: tries every promise that a host makes to Plexion's module, and says "
         "which are broken.\n"
         "\n"
         "What to certify:\n"
         "  --kernel FILE        a library that exports PlexionHost_CreateKernel\n"
         "  --graphics FILE      a library with the module IGraphicsDriver; so do --player FILE,\n"
         "                       --shell FILE and --files FILE\n"
         "  --module NAME=FILE   any module by its name; without =FILE the kernel is asked for it\n"
         "  --host FOLDER        all that a folder holds: one kernel, and <Name>.so for each "
         "module\n"
         "  --plexion FILE       IPlexion.so; else the one beside this program\n"
         "  --content FILE       what the player plays: two to ten seconds, and it ends\n"
         "  --argument WORD      a word of the host's own command line\n"
         "  --profile FILE       JSON: what the device has not, and the settings above\n"
         "\n"
         "How:\n"
         "  --only ID            this promise only (again for more); \"kernel.mutex.\" for all "
         "that begin so\n"
         "  --level LEVEL        basic, contract, or full (with load and endurance; the default)\n"
         "  --seed N             of what is chosen at random\n"
         "  --jobs N             cases at a time; else one for each processor\n"
         "  --limit SECONDS      for a case, three times that for load; else 20\n"
         "  --first              ends with the first promise of the table that is broken\n"
         "  --warnings-fail      too slow is broken as well\n"
         "\n"
         "What comes out:\n"
         "  --list [markdown]    the promises, and nothing is run\n"
         "  --verbose            each promise's sentence, too\n"
         "  --json FILE          the results for a program\n"
         "\n"
         "Exit code: 0 every promise is kept, 1 one is broken, 2 wrong command line or\n"
         "nothing was tried.\n";
}

}  // namespace plexion_certify
