// Promises of the kernel about its process, and about modules by name.

#include <dlfcn.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"
#include "kit/certify/probe/Probe.h"
#include "qx/core/IQXModule.h"
#include "qx/core/QXString.h"

namespace plexion_certify {
namespace {

void ProcessId(Case& c) {
  const int32_t first = c.Kernel().GetProcessId();
  CERTIFY_REQUIRE(c, first > 0, "a positive number", Text("%d", first));
  for (int i = 0; i < 10; ++i) {
    const int32_t next = c.Kernel().GetProcessId();
    CERTIFY_REQUIRE(c, next == first, Text("%d, as before", first), Text("%d", next));
  }
}

void Arguments(Case& c) {
  const auto& given = c.GetOptions().hostArguments;
  const int count = c.Kernel().GetArgc();
  CERTIFY_REQUIRE(c, count == static_cast<int>(given.size()) + 1,
                  Text("%zu: the words that PlexionHost_CreateKernel was handed", given.size() + 1),
                  Text("%d", count));
  const char** const words = c.Kernel().GetArgv();
  CERTIFY_REQUIRE(c, words != nullptr && words[0] != nullptr,
                  "element 0, which names the executable", "null");
  for (size_t i = 0; i < given.size(); ++i) {
    CERTIFY_REQUIRE(c, words[i + 1] != nullptr && given[i] == words[i + 1],
                    "word \"" + given[i] + "\"", words[i + 1] == nullptr ? "null" : words[i + 1]);
  }
  CERTIFY_REQUIRE(c, c.Kernel().GetArgv() == words && c.Kernel().GetArgc() == count,
                  "the same array at the next call: the module keeps it", "another");
}

void BinDirectory(Case& c) {
  QXString folder("before");
  c.Step("GetBinDirectory of the executable");
  if (!c.Kernel().GetBinDirectory(folder, nullptr)) {
    CERTIFY_REQUIRE(c, strcmp(folder.Utf8(), "before") == 0, "the text unchanged after false",
                    folder.Utf8());
    c.Skip("the kernel does not know the executable's folder");
  }
  CERTIFY_REQUIRE(c, folder.Utf8()[0] == '/', "the folder's path from the root",
                  std::string("\"") + folder.Utf8() + "\"");
  const std::string first = folder.Utf8();
  c.Kernel().GetBinDirectory(folder, nullptr);
  CERTIFY_REQUIRE(c, first == folder.Utf8(), "the text replaced by the same one at the next call",
                  folder.Utf8());
}

void BinDirectoryUnknown(Case& c) {
  QXString folder("before");
  c.Step("GetBinDirectory of a module that there is not");
  if (c.Kernel().GetBinDirectory(folder, "INoSuchModule")) {
    CERTIFY_REQUIRE(c, folder.Utf8()[0] == '/', "a folder's path with true",
                    std::string("\"") + folder.Utf8() + "\"");
  } else {
    CERTIFY_REQUIRE(c, strcmp(folder.Utf8(), "before") == 0, "the text unchanged after false",
                    folder.Utf8());
  }
}

void Unknown(Case& c) {
  c.Step("AcquireModule of a name that there is not");
  IQXModule* const module = c.Kernel().AcquireModule("INoSuchModule");
  CERTIFY_REQUIRE(c, module == nullptr, "null", Text("%p", static_cast<void*>(module)));
}

void NullModule(Case& c) {
  c.Step("ReleaseModule with null");
  c.Kernel().ReleaseModule(nullptr);
}

/// What the probe writes down; it finds the address in its environment, since its own memory goes when it
/// is unloaded.
ProbeLog& Log() {
  static ProbeLog log;
  char address[32];
  snprintf(address, sizeof(address), "%p", static_cast<void*>(&log));
  setenv(kProbeVariable, address, 1);
  return log;
}

IQXModule* AcquireProbe(Case& c) {
  c.Step("AcquireModule of the probe");
  IQXModule* const probe = c.Kernel().AcquireModule("CertifyProbe");
  if (probe == nullptr && Log().loads == 0) {
    c.Skip(
        "the kernel finds no module CertifyProbe: put CertifyProbe.so where it looks for modules");
  }
  return probe;
}

void KernelFirst(Case& c) {
  ProbeLog& log = Log();
  IQXModule* const probe = AcquireProbe(c);
  CERTIFY_REQUIRE(c, log.kernelAtLoad != nullptr, "PutKernel is called before ModuleLoad",
                  "ModuleLoad without a kernel");
  CERTIFY_REQUIRE(c, probe == log.object, "the object that ModuleLoad returned",
                  Text("%p", static_cast<void*>(probe)));
}

void SameObject(Case& c) {
  ProbeLog& log = Log();
  IQXModule* const first = AcquireProbe(c);
  IQXModule* const second = c.Kernel().AcquireModule("CertifyProbe");
  CERTIFY_REQUIRE(c, first == second, "the same object at the second acquisition", "another");
  CERTIFY_REQUIRE(c, log.loads == 1, "one ModuleLoad for two acquisitions",
                  Text("%d", log.loads.load()));
  c.Step("releasing one of two");
  c.Kernel().ReleaseModule(first);
  CERTIFY_REQUIRE(c, log.unloads == 0, "it stays loaded until as many releases",
                  "ModuleUnload after the first");
  c.Step("releasing the second");
  c.Kernel().ReleaseModule(second);
  CERTIFY_REQUIRE(c, log.unloads == 1, "one ModuleUnload after the last release",
                  Text("%d", log.unloads.load()));
  CERTIFY_REQUIRE(c, log.unloaded == first, "ModuleUnload is handed the module's object",
                  "another address");
}

void LoadedAgain(Case& c) {
  ProbeLog& log = Log();
  for (int i = 1; i <= 5; ++i) {
    IQXModule* const probe = AcquireProbe(c);
    CERTIFY_REQUIRE(c, probe != nullptr && log.loads == i, Text("ModuleLoad number %d", i),
                    Text("%d loads", log.loads.load()));
    c.Kernel().ReleaseModule(probe);
    CERTIFY_REQUIRE(c, log.unloads == i, Text("ModuleUnload number %d", i),
                    Text("%d unloads", log.unloads.load()));
  }
}

void Nested(Case& c) {
  ProbeLog& log = Log();
  IQXModule* const inner = c.Kernel().AcquireModule("CertifyProbeInner");
  if (inner == nullptr) c.Skip("the kernel finds no module CertifyProbeInner");
  c.Kernel().ReleaseModule(inner);
  const int loads = log.innerLoads, unloads = log.innerUnloads;
  log.acquiresInner = true;
  IQXModule* const probe = AcquireProbe(c);
  CERTIFY_REQUIRE(c, probe != nullptr && log.inner != nullptr && log.innerLoads == loads + 1,
                  "a module that acquires another while it is loaded", "null");
  c.Step("releasing a module that releases another while it is unloaded");
  c.Kernel().ReleaseModule(probe);
  CERTIFY_REQUIRE(c, log.innerUnloads == unloads + 1, "the inner module unloaded with it",
                  Text("%d unloads", log.innerUnloads - unloads));
}

void LoadedOnce(Case& c) {
  ProbeLog& log = Log();
  AcquireProbe(c);
  c.Kernel().ReleaseModule(log.object);
  const int before = log.loads;
  c.Step("four threads acquire and release one module");
  {
    std::atomic<int> arrived{0};
    const auto work = [&] {
      for (int i = 0; i < 50; ++i) {
        // All at once, each time: what two threads do one after the other shows nothing.
        ++arrived;
        while (arrived < 4 * (i + 1) && !c.HasFailed()) c.Kernel().Sleep(kMillisecond / 10);
        IQXModule* const probe = c.Kernel().AcquireModule("CertifyProbe");
        CERTIFY_REQUIRE(c, probe != nullptr, "the module", "null");
        c.Kernel().Sleep(kMillisecond / 2);  // held while the others come
        c.Kernel().ReleaseModule(probe);
      }
    };
    CaseThread one(c, work), two(c, work), three(c, work), four(c, work);
  }
  CERTIFY_REQUIRE(c, log.loads == log.unloads && log.loads > before && log.most == 1,
                  "as many unloads as loads, and never two at a time",
                  Text("%d loads, %d unloads, up to %d at a time", log.loads.load(),
                       log.unloads.load(), log.most.load()));
}

void Destroyed(Case& c) {
  Bench& bench = c.GetBench();
  if (!bench.CanDestroyKernel()) c.Skip("the library exports no PlexionHost_DestroyKernel");
  // A kernel that was used, and has everything back.
  IQXKernel& kernel = c.Kernel();
  IQXKernel::Mutex* const mutex = kernel.CreateMutex();
  IQXKernel::Event* const event = kernel.CreateEvent(true);
  event->Reset();
  {
    CaseThread thread(c, [&] {
      mutex->Lock();
      kernel.Sleep(kMillisecond);
      mutex->Unlock();
      event->Signal();
    });
    event->Wait(IQXKernel::kInfinite);
  }
  kernel.DestroyEvent(event);
  kernel.DestroyMutex(mutex);
  kernel.Free(kernel.Allocate(100000, __FILE__, __LINE__), __FILE__, __LINE__);
  kernel.ReleaseModule(kernel.AcquireModule("CertifyProbe"));
  c.AfterKernel([&c, &bench] {
    // A thread that was joined is listed until the system has taken it down.
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (ThreadCount() > bench.ThreadsBefore() && std::chrono::steady_clock::now() < until) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    CERTIFY_EXPECT(c, ThreadCount() <= bench.ThreadsBefore(),
                   Text("%d threads, as before the kernel was made", bench.ThreadsBefore()),
                   Text("%d", ThreadCount()));
    CERTIFY_EXPECT(c, DescriptorCount() <= bench.DescriptorsBefore(),
                   Text("%d open files, as before the kernel was made", bench.DescriptorsBefore()),
                   Text("%d", DescriptorCount()));
  });
}

constexpr Promise kProcessPromises[] = {
    {"kernel.process.id", "The process has one identifier.", Level::kContract, "", ProcessId},
    {"kernel.process.arguments", "The host's command line is as it was given, and stays.",
     Level::kBasic, "", Arguments},
    {"kernel.process.bin-directory", "GetBinDirectory fills in a folder's path.", Level::kContract,
     "", BinDirectory},
    {"kernel.process.bin-directory-unknown",
     "What is not known is false, and the text is unchanged.", Level::kContract, "",
     BinDirectoryUnknown},
    {"kernel.process.destroyed",
     "PlexionHost_DestroyKernel returns, ends the kernel's threads and closes its files.",
     Level::kContract, "kernel.thread.runs", Destroyed},
};

constexpr Promise kModulePromises[] = {
    {"kernel.modules.unknown", "A module that there is not is null.", Level::kBasic, "", Unknown},
    {"kernel.modules.null", "ReleaseModule accepts null.", Level::kContract, "", NullModule},
    {"kernel.modules.kernel-first", "A module is handed the kernel before it is loaded.",
     Level::kBasic, "", KernelFirst},
    {"kernel.modules.balance", "A module stays loaded until it was released as often as acquired.",
     Level::kContract, "kernel.modules.kernel-first", SameObject},
    {"kernel.modules.again", "A module that was unloaded can be acquired again.", Level::kContract,
     "kernel.modules.balance", LoadedAgain},
    {"kernel.modules.nested", "A module may acquire another while it is being loaded.",
     Level::kContract, "kernel.modules.kernel-first", Nested},
    {"kernel.modules.threads", "Threads that acquire one module at a time get one.",
     Level::kContract, "kernel.modules.balance kernel.thread.runs", LoadedOnce},
};

}  // namespace

PromiseGroup KernelProcessPromises() {
  return MakeGroup("Kernel: process", "qx/core/IQXKernel.h",
                   "The module reads three options of the host's own command line: `--useshell`, "
                   "`--mastershellkey`\n"
                   "and `--pause`.",
                   kProcessPromises);
}

PromiseGroup KernelModulePromises() {
  return MakeGroup("Kernel: modules", "qx/core/IQXModule.h",
                   "Tried with a module of the kit's own, `CertifyProbe.so`, which lies beside "
                   "`plexion-certify`: put it\n"
                   "where your kernel looks for modules.",
                   kModulePromises);
}

}  // namespace plexion_certify
