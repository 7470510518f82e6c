// What the module's own machinery costs, beside what a program would otherwise use for it: telling
// observers (a signal library), a window's allocations (a counter over the same lock), and options
// (getopt_long). All of them on the reference host's kernel.

#include <benchmark/benchmark.h>
#include <getopt.h>
#include <sigc++/sigc++.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "host/kernel/HostKernel.h"
#include "qx/core/IQXModule.h"
#include "qx/core/QXLock.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/MemoryWatchdog.h"

namespace {

using qx::plexion::IPlexionImpl;
using qx::plexion::StageWindow;
using qx::plexion::StageWindowImpl;
using qx::plexion::StageWindowMemoryWatchdog;
using qx::plexion::StageWindowParameters;
using qx::plexion::StageWindowStatus;
using qx::plexion::StageWindowStatusData;

plexion_host::HostKernel& Kernel() {
  static auto* const kernel = [] {
    auto* made = new plexion_host::HostKernel({"bench"}, plexion_host::ModuleFiles());
    IQXModule_QXModule_PutKernel(made);
    return made;
  }();
  return *kernel;
}

class Observer : public qx::plexion::StageWindowNotifier {
 public:
  void OnStageWindowNotification(StageWindow*, StageWindowStatus,
                                 const StageWindowStatusData*) override {
    benchmark::DoNotOptimize(++calls);
  }
  void Hear(StageWindow*, StageWindowStatus, const StageWindowStatusData*) {
    benchmark::DoNotOptimize(++calls);
  }
  unsigned calls = 0;
};

void NotifyOurs(benchmark::State& state) {
  Kernel();
  IPlexionImpl service;
  StageWindowImpl window(&service);
  std::vector<Observer> observers(static_cast<size_t>(state.range(0)));
  for (Observer& observer : observers) window.RegisterNotifier(&observer);
  for (auto _ : state) window.NotifyObservers(qx::plexion::kInfoNotifyFPS, nullptr);
  for (Observer& observer : observers) window.UnregisterNotifier(&observer);
}

void NotifyPeer(benchmark::State& state) {
  IQXKernel::Mutex* const mutex = Kernel().CreateMutex();
  std::vector<Observer> observers(static_cast<size_t>(state.range(0)));
  sigc::signal<void, StageWindow*, StageWindowStatus, const StageWindowStatusData*> signal;
  for (Observer& observer : observers) signal.connect(sigc::mem_fun(observer, &Observer::Hear));
  for (auto _ : state) {
    QXLock lock(mutex);
    signal.emit(nullptr, qx::plexion::kInfoNotifyFPS, nullptr);
  }
  Kernel().DestroyMutex(mutex);
}

constexpr unsigned long kBlockBytes = 200;

void AllocateOurs(benchmark::State& state) {
  Kernel();
  IPlexionImpl service;
  StageWindowImpl window(&service);
  StageWindowMemoryWatchdog watchdog(&window, 1 << 20);
  for (auto _ : state) {
    void* const block = watchdog.Alloc(kBlockBytes, __FILE__, __LINE__);
    benchmark::DoNotOptimize(block);
    watchdog.Free(block, __FILE__, __LINE__);
  }
}

void AllocatePeer(benchmark::State& state) {
  IQXKernel::Mutex* const mutex = Kernel().CreateMutex();
  unsigned long used = 0;
  for (auto _ : state) {
    void* block = nullptr;
    {
      QXLock lock(mutex);
      block = Kernel().Allocate(kBlockBytes + 8, __FILE__, __LINE__);
      benchmark::DoNotOptimize(used += kBlockBytes);
    }
    benchmark::DoNotOptimize(block);
    QXLock lock(mutex);
    Kernel().Free(block, __FILE__, __LINE__);
    benchmark::DoNotOptimize(used -= kBlockBytes);
  }
  Kernel().DestroyMutex(mutex);
}

const char* const kWords[] = {"plexion",  "--contentdims",  "640,480",      "--outputdims",
                              "1280,720", "--outputrect",   "1,2,640,480",  "--bgalpha",
                              "128",      "--nospeedlimit", "--keymaster",  "--debugmode",
                              "--dcts",   "--spdump",       "--instrument", "--mousestream",
                              ":5900",    "--locale",       "de_DE",        "movie.mvx"};
constexpr int kWordCount = sizeof(kWords) / sizeof(kWords[0]);

void OptionsOurs(benchmark::State& state) {
  Kernel();
  IPlexionImpl service;
  for (auto _ : state) {
    StageWindowParameters parameters;
    service.InitParameters(parameters);
    const char* words[kWordCount];
    std::copy(std::begin(kWords), std::end(kWords), words);
    if (!service.ParseCommandLineParameters(kWordCount, words, parameters)) {
      state.SkipWithError("the options are refused");
      return;
    }
    benchmark::DoNotOptimize(parameters);
  }
}

/// The same options with their values turned into numbers, into fields as many.
void OptionsPeer(benchmark::State& state) {
  static const option kOptions[] = {{"contentdims", required_argument, nullptr, 'c'},
                                    {"outputdims", required_argument, nullptr, 'o'},
                                    {"outputrect", required_argument, nullptr, 'r'},
                                    {"bgalpha", required_argument, nullptr, 'b'},
                                    {"nospeedlimit", no_argument, nullptr, 'n'},
                                    {"keymaster", no_argument, nullptr, 'k'},
                                    {"debugmode", no_argument, nullptr, 'd'},
                                    {"dcts", no_argument, nullptr, 't'},
                                    {"spdump", no_argument, nullptr, 's'},
                                    {"instrument", no_argument, nullptr, 'i'},
                                    {"mousestream", required_argument, nullptr, 'm'},
                                    {"locale", required_argument, nullptr, 'l'},
                                    {nullptr, 0, nullptr, 0}};
  for (auto _ : state) {
    StageWindowParameters parameters;
    Kernel().MemSet(static_cast<void*>(&parameters), 0, sizeof(parameters));
    char* words[kWordCount];
    for (int i = 0; i < kWordCount; ++i) words[i] = const_cast<char*>(kWords[i]);
    optind = 0;
    int found = 0;
    while ((found = getopt_long(kWordCount, words, "", kOptions, nullptr)) != -1) {
      char* end = optarg;
      switch (found) {
        case 'c':
        case 'o': {
          qx::plexion::Dims& dims = found == 'c' ? parameters.contentDims : parameters.outputDims;
          dims.width = static_cast<uint32_t>(std::strtol(end, &end, 10));
          dims.height = static_cast<uint32_t>(std::strtol(end + 1, &end, 10));
          break;
        }
        case 'r':
          parameters.outputRect.x = static_cast<uint32_t>(std::strtol(end, &end, 10));
          parameters.outputRect.y = static_cast<uint32_t>(std::strtol(end + 1, &end, 10));
          parameters.outputRect.width = static_cast<uint32_t>(std::strtol(end + 1, &end, 10));
          parameters.outputRect.height = static_cast<uint32_t>(std::strtol(end + 1, &end, 10));
          break;
        case 'b':
          parameters.bgAlpha = static_cast<uint8_t>(std::strtoul(end, &end, 10));
          break;
        case 'n':
          parameters.noSpeedLimit = true;
          break;
        case 'k':
          parameters.keyMaster = true;
          break;
        case 'd':
          parameters.debugMode = true;
          break;
        case 't':
          parameters.dcts = true;
          break;
        case 's':
          parameters.spdump = true;
          break;
        case 'i':
          parameters.instrument = true;
          break;
        case 'm':
          parameters.mouseStream = optarg;
          break;
        case 'l':
          parameters.locale = optarg;
          break;
        default:
          state.SkipWithError("the options are refused");
          return;
      }
    }
    parameters.contentPath = words[optind];
    benchmark::DoNotOptimize(parameters);
  }
}

BENCHMARK(NotifyOurs)->Arg(1)->Arg(4)->Arg(16);
BENCHMARK(NotifyPeer)->Arg(1)->Arg(4)->Arg(16);
BENCHMARK(AllocateOurs);
BENCHMARK(AllocatePeer);
BENCHMARK(OptionsOurs);
BENCHMARK(OptionsPeer);

}  // namespace

BENCHMARK_MAIN();
