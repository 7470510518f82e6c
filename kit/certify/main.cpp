// plexion-certify: tries every promise of the contract against a device maker's kernel and modules.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/Options.h"
#include "kit/certify/Promise.h"
#include "kit/certify/Report.h"
#include "kit/certify/Runner.h"

namespace plexion_certify {
namespace {

constexpr int kWrongCommandLine = 2;
constexpr rlim_t kMostOutput = rlim_t{256} << 20;  // of a case, in bytes

/// The process of one case.
void RunCase(const Options& options) {
  // A crash is a result here: no file of the whole memory for each.
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  // What a case prints is kept in memory until it ends.
  const rlimit output = {kMostOutput, kMostOutput};
  setrlimit(RLIMIT_FSIZE, &output);
  // Each case has a process group of its own, so that Ctrl-C reaches the runner only.
  if (options.reportFd >= 0) prctl(PR_SET_PDEATHSIG, SIGKILL);
  Bench bench(options);
  Case c(bench, options);
  const Promise* const promise = FindPromise(options.caseId);
  c.Step("loading the host");
  std::string error;
  if (promise == nullptr || !bench.Load(error)) {
    CERTIFY_EXPECT(c, false, "a host that can be loaded", error);
  } else {
    bench.Run([&c, promise] {
      try {
        promise->run(c);
      } catch (const CaseOver&) {
        // It has said why.
      } catch (const std::exception& thrown) {
        // Of the case's own files, mostly: not a crash of the host's.
        c.Record("no exception of the case's own", thrown.what());
      }
    });
    if (c.CheckAfterKernel() && !c.HasFailed()) {
      c.Step("PlexionHost_DestroyKernel");
      bench.DestroyKernel();
      c.CheckAfterKernel()();
    }
  }
  c.End();
  // What a stranger's libraries do when the process ends is nobody's promise.
  _exit(0);
}

int List(const Options& options) {
  if (options.list == Options::List::kMarkdown) {
    fputs(PromisesPage().c_str(), stdout);
    return 0;
  }
  for (const PromiseGroup& group : Groups()) {
    printf("%s (%s)\n", group.title, group.header);
    for (size_t i = 0; i < group.count; ++i) {
      const Promise& promise = group.promises[i];
      printf("  %-44s %-8s %s\n", promise.id, LevelName(promise.level), promise.sentence);
    }
  }
  return 0;
}

int Main(int argc, char** argv) {
  Options options;
  std::string error;
  if (!ReadOptions(argc, argv, options, error)) {
    if (error == "help") {
      fputs(UsageText(), stdout);
      return 0;
    }
    fprintf(stderr, "plexion-certify: %s\n", error.c_str());
    return kWrongCommandLine;
  }
  if (options.list != Options::List::kNo) return List(options);
  if (!options.caseId.empty()) RunCase(options);

  try {
    const TemporaryFolder tried;  // cases need one, and none must be blamed on the host
  } catch (const std::exception& failed) {
    fprintf(stderr, "plexion-certify: %s; expected a folder in TMPDIR that can be written to\n",
            failed.what());
    return kWrongCommandLine;
  }
  // A reader who has gone must not end us before the JSON is written.
  signal(SIGPIPE, SIG_IGN);
  const auto began = std::chrono::steady_clock::now();
  const std::vector<Result> results = RunCases(options, argc, argv);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
  fputs(TableOf(options, results, seconds).c_str(), stdout);
  if (!options.jsonFile.empty()) {
    std::ofstream out(options.jsonFile);
    out << JsonOf(options, results, seconds);
    if (!out.flush()) {
      fprintf(stderr, "plexion-certify: --json %s cannot be written\n", options.jsonFile.c_str());
      return kWrongCommandLine;
    }
  }
  return ExitCodeOf(options, results);
}

}  // namespace
}  // namespace plexion_certify

int main(int argc, char** argv) { return plexion_certify::Main(argc, argv); }
