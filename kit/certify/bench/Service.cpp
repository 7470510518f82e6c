// Loads IPlexion.so and opens windows.

#include "kit/certify/bench/Service.h"

#include <dlfcn.h>

#include <chrono>

#include "kit/certify/Promise.h"
#include "kit/certify/bench/PlayerStage.h"

namespace plexion_certify {

using namespace qx::plexion;

Service::Service(Case& c) : player(c.GetBench().Ledger()), c_(c) {
  const Options& options = c.GetOptions();
  LedgerKernel& kernel = c.GetBench().Ledger();
  // What stands beside the interface that is tried is the kit's own, even where the host has one: it would be
  // accused of what another part of the host does wrong.
  const Promise* const promise = FindPromise(options.caseId);
  const std::string tried = promise != nullptr ? InterfaceOf(*promise) : "host";
  if (options.Has("IMorvelRuntimeLib") && (tried == "player" || tried == "host")) {
    content_ = ContentOf(c);
  } else {
    content_ = "certify";
    kernel.Provide("IMorvelRuntimeLib", &player);
  }
  if (!options.Has("IGraphicsDriver") || (tried != "graphics" && tried != "host"))
    kernel.Provide("IGraphicsDriver", &graphics);
  CERTIFY_REQUIRE(c, !options.plexionFile.empty(),
                  "the module IPlexion.so beside this program, or --plexion FILE", "none");
  c.Step("loading " + options.plexionFile);
  void* const library = dlopen(options.plexionFile.c_str(), RTLD_NOW | RTLD_LOCAL);
  CERTIFY_REQUIRE(c, library != nullptr, "the module", library == nullptr ? dlerror() : "");
  const auto find = [library](const char* symbol) { return dlsym(library, symbol); };
  const auto put = reinterpret_cast<void (*)(IQXKernel*)>(find("IQXModule_QXModule_PutKernel"));
  const auto load = reinterpret_cast<IQXModule* (*)()>(find("IQXModule_IPlexion_ModuleLoad"));
  unload_ = reinterpret_cast<void (*)(IQXModule*)>(find("IQXModule_IPlexion_ModuleUnload"));
  CERTIFY_REQUIRE(c, put != nullptr && load != nullptr && unload_ != nullptr,
                  "the module's entry points", "not all of them");
  put(&kernel);
  module_ = load();
  service_ = static_cast<IPlexionSets*>(module_);
  kernel.Provide("IPlexion", module_);  // to an input driver, which dispatches to it
  set_ = std::make_unique<StageWindowSet>();
}

Service::~Service() { Unload(); }

void Service::Unload() {
  if (module_ == nullptr) return;
  c_.Step("destroying the windows");
  service_->DestroyStageWindowSet(*set_);
  set_.reset();
  c_.Step("unloading the module");
  c_.GetBench().Ledger().Provide("IPlexion", nullptr);
  unload_(module_);
  module_ = nullptr;
}

const char** Service::Keep(const std::vector<std::string>& words) {
  texts_.push_back(std::make_unique<std::vector<std::string>>(words));
  vectors_.push_back(std::make_unique<std::vector<const char*>>());
  for (const std::string& word : *texts_.back()) vectors_.back()->push_back(word.c_str());
  vectors_.back()->push_back(nullptr);
  return vectors_.back()->data();
}

QXError Service::OpenSet(const std::vector<std::string>& words) {
  std::vector<std::string> all = {"plexion-certify"};
  all.insert(all.end(), words.begin(), words.end());
  c_.Step("CreateAndConfigureStageWindowSet");
  return service_->CreateAndConfigureStageWindowSet(*set_, static_cast<int>(all.size()), Keep(all),
                                                    64);
}

StageWindow* Service::Open(const std::vector<std::string>& options) {
  std::vector<std::string> words = options;
  words.push_back(content_);
  const unsigned before = set_->Count();
  const QXError error = OpenSet(words);
  CERTIFY_REQUIRE(c_, error == QXError_OK && set_->Count() == before + 1, "a configured window",
                  error.name);
  return (*set_)[before];
}

void Service::RunToCompletion(const std::function<void()>& meanwhile) {
  std::vector<StageWindow*> windows;  // the set is empty at its end
  for (unsigned i = 0; i < set_->Count(); ++i) {
    windows.push_back((*set_)[i]);
    observers_.push_back(std::make_unique<Observer>());
    windows.back()->RegisterNotifier(observers_.back().get());
  }
  // By the clock that the runner uses: on a busy machine a sleep of a millisecond takes two.
  const int limitMs = static_cast<int>(c_.GetOptions().limitSeconds * 500);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
  std::atomic<bool> over{false};
  bool shown = false, tooLong = false;
  std::string halted;
  {
    CaseThread runner(c_, [&] {
      shown = service_->RunStageWindowSetToCompletion(*set_);
      over = true;
    });
    if (meanwhile) meanwhile();
    c_.Step("RunStageWindowSetToCompletion");
    c_.Until([&] { return over || std::chrono::steady_clock::now() >= limit; }, 100 * limitMs);
    tooLong = !over;
    for (size_t i = 0; tooLong && i < windows.size(); ++i) {
      if (observers_[i]->End() != kStatusUnconfigured) continue;  // destroyed, or about to be
      const StageWindowStatus status = windows[i]->GetStageWindowStatus();
      if (status != kStatusPlaying) halted = PlayerStage::NameOf(status);
      c_.Step(Text("terminating a window that has not ended after %d s", limitMs / 1000));
      windows[i]->Terminate(kErrorFatalPlaybackError);
    }
  }
  CERTIFY_REQUIRE(c_, halted.empty(), "windows that play, and come to their end",
                  "one that stays in " + halted);
  if (tooLong) {
    c_.Skip(
        Text("the content plays for more than %d s: name one of two to ten, or a longer --limit",
             limitMs / 1000));
  }
  CERTIFY_REQUIRE(c_, shown, "true from RunStageWindowSetToCompletion", "false");
  for (const auto& observer : observers_) {
    CERTIFY_REQUIRE(c_, observer->End() == kStatusComplete, "kStatusComplete of each window",
                    PlayerStage::NameOf(observer->End()));
  }
}

bool Service::WaitFor(StageWindow* window, StageWindowStatus status, int milliseconds) {
  c_.Until(
      [&] {
        const StageWindowStatus now = window->GetStageWindowStatus();
        return now == status || IsTerminalStatus(now);
      },
      milliseconds);
  return window->GetStageWindowStatus() == status;
}

}  // namespace plexion_certify
