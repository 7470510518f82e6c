// Promises of the libraries themselves: that they can be loaded, and leave nothing when they are unloaded.

#include <cstring>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"
#include "qx/core/IQXModule.h"

namespace plexion_certify {
namespace {

/// What a process holds besides memory.
struct Holds {
  explicit Holds(Case& c)
      : balance(c.GetBench().Ledger().Out()), threads(ThreadCount()), files(DescriptorCount()) {}
  bool IsNoMoreThan(const Holds& other) const {
    return balance.Equals(other.balance, true) && threads <= other.threads && files <= other.files;
  }
  std::string ToText() const {
    return balance.ToText() + Text(", %d threads of the process, %d open files", threads, files);
  }
  const Balance balance;
  const int threads, files;
};

/// Loads and unloads `name` as a kernel does, and once more: the last user may go, and another come.
void LoadsAgain(Case& c, const char* name, int rounds) {
  LedgerKernel& kernel = c.GetBench().Ledger();
  const std::string& file = c.GetOptions().modules.at(name);
  ModuleFile module;
  if (!file.empty()) {
    std::string error;
    c.Step("loading " + file);
    CERTIFY_REQUIRE(c, module.Open(file, name, error), "a library with a module's entry points",
                    error);
    module.putKernel(&kernel);
  }
  const auto once = [&](int round) {
    c.Step(Text("loading %s for the %d. time", name, round));
    IQXModule* const object = file.empty() ? kernel.AcquireModule(name) : module.load();
    CERTIFY_REQUIRE(c, object != nullptr, "the module's object",
                    round == 1 ? "null" : "null, after it was unloaded");
    c.Step(Text("unloading %s", name));
    if (file.empty()) {
      kernel.ReleaseModule(object);
    } else {
      module.unload(object);
    }
  };
  once(1);
  once(2);  // what is made once, and kept, is there
  const Holds before(c);
  const long bytes = ResidentBytes();
  for (int round = 3; round <= rounds; ++round) once(round);
  c.Step("counting what is left");
  c.Until([&] { return Holds(c).IsNoMoreThan(before); }, 1000);
  const Holds after(c);
  // What a module took that the kernel found by itself does not pass through the ledger.
  CERTIFY_REQUIRE(c, after.IsNoMoreThan(before),
                  "nothing left when it is unloaded: " + before.ToText(), after.ToText());
  const long grown = ResidentBytes() - bytes;
  CERTIFY_REQUIRE(c, rounds < 100 || grown < (2L << 20), "memory that is given back",
                  Text("the process grew by %ld KiB in %d rounds", grown >> 10, rounds - 2));
}

void KernelLoads(Case& c) {
  // Before the case began: the library was loaded, its entry point called, an object returned.
  CERTIFY_REQUIRE(c, c.Kernel().GetArgc() >= 1, "a kernel with a command line, its name at least",
                  Text("%d words", c.Kernel().GetArgc()));
}

void GraphicsLoads(Case& c) { LoadsAgain(c, "IGraphicsDriver", 4); }
void PlayerLoads(Case& c) { LoadsAgain(c, "IMorvelRuntimeLib", 4); }
void ShellLoads(Case& c) { LoadsAgain(c, "IShell", 4); }
void FilesLoads(Case& c) { LoadsAgain(c, "IFileSystem", 4); }
void SystemLoads(Case& c) { LoadsAgain(c, "ISystemDriver", 4); }
void LocaleLoads(Case& c) { LoadsAgain(c, "ILocaleUtils", 4); }
void InputLoads(Case& c) { LoadsAgain(c, "IUserInputDriver", 4); }
void PointerLoads(Case& c) { LoadsAgain(c, "IMouseStream", 4); }

constexpr char kLoads[] = "The module loads, goes without a trace, and loads again.";

constexpr Promise kPromises[] = {
    {"kernel.loads", "PlexionHost_CreateKernel makes a kernel.", Level::kBasic, "", KernelLoads},
    {"graphics.loads", kLoads, Level::kBasic, "", GraphicsLoads},
    {"player.loads", kLoads, Level::kBasic, "", PlayerLoads},
    {"shell.loads", kLoads, Level::kBasic, "", ShellLoads},
    {"files.loads", kLoads, Level::kBasic, "", FilesLoads},
    {"system.loads", kLoads, Level::kBasic, "", SystemLoads},
    {"locale.loads", kLoads, Level::kBasic, "", LocaleLoads},
    {"input.loads", kLoads, Level::kBasic, "", InputLoads},
    {"pointer.loads", kLoads, Level::kBasic, "", PointerLoads},
};

}  // namespace

PromiseGroup LoadingPromises() {
  return MakeGroup("Loading", "kit/PlexionHost.h, qx/core/IQXModule.h",
                   "A module is loaded at its first acquisition and unloaded after its last "
                   "release, which may be many\n"
                   "times in the life of a process. What needs a library that cannot be loaded is "
                   "skipped.",
                   kPromises);
}

}  // namespace plexion_certify
