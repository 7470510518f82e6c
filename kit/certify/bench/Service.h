// The module itself on a bench: IPlexion.so with the kernel and the modules of a case.

#ifndef KIT_CERTIFY_BENCH_SERVICE_H_
#define KIT_CERTIFY_BENCH_SERVICE_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/bench/BenchGraphics.h"
#include "kit/certify/bench/BenchPlayer.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowNotifier.h"
#include "qx/plexion/StageWindowSet.h"

namespace plexion_certify {

/// Counts what a window tells its observers.
class Observer final : public qx::plexion::StageWindowNotifier {
 public:
  void OnStageWindowNotification(qx::plexion::StageWindow*, qx::plexion::StageWindowStatus status,
                                 const qx::plexion::StageWindowStatusData*) override {
    if (status >= 0 && status < 40) ++counts_[status];
    if (qx::plexion::IsTerminalStatus(status)) end_ = status;
  }
  /// Of its end; kStatusUnconfigured before it.
  qx::plexion::StageWindowStatus End() const { return end_; }
  int Count(qx::plexion::StageWindowStatus status) const { return counts_[status]; }

 private:
  std::atomic<int> counts_[40] = {};
  std::atomic<qx::plexion::StageWindowStatus> end_{qx::plexion::kStatusUnconfigured};
};

/// Loads the module. Player and graphics driver are those that were given where they, or the whole host, are
/// tried; else they are the kit's own. Of the other modules there are those that were given.
///
/// Order    make it, windows, Unload (or the destructor).
class Service {
 public:
  explicit Service(Case& c);
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  qx::plexion::IPlexionSets& operator*() { return *service_; }
  qx::plexion::IPlexionSets* operator->() { return service_; }
  /// A configured window of `content` (else the one that plays) with `options` before it; ends the case when
  /// there is none.
  qx::plexion::StageWindow* Open(const std::vector<std::string>& options = {});
  /// Windows for a whole command line, into the set.
  QXError OpenSet(const std::vector<std::string>& words);
  qx::plexion::StageWindowSet& Set() { return *set_; }
  /// RunStageWindowSetToCompletion of the set, on a thread of its own; `meanwhile` is done while it runs. Ends the
  /// case unless every window came to kStatusComplete. Windows that are no further after half of the case's limit
  /// are terminated; where all of them play the case is skipped: content that is too long is nobody's fault.
  void RunToCompletion(const std::function<void()>& meanwhile = {});
  /// Waits until the window's status is `status` or one that ends it.
  bool WaitFor(qx::plexion::StageWindow* window, qx::plexion::StageWindowStatus status,
               int milliseconds = 15000);
  const std::string& Content() const { return content_; }
  void Unload();

  BenchPlayer player;
  BenchGraphics graphics;

 private:
  const char** Keep(const std::vector<std::string>& words);

  Case& c_;
  std::string content_;
  void (*unload_)(IQXModule*) = nullptr;
  IQXModule* module_ = nullptr;
  qx::plexion::IPlexionSets* service_ = nullptr;
  std::vector<std::unique_ptr<Observer>> observers_;  // outlive the windows that tell them
  std::unique_ptr<qx::plexion::StageWindowSet> set_;
  // Windows borrow their texts from here.
  std::vector<std::unique_ptr<std::vector<std::string>>> texts_;
  std::vector<std::unique_ptr<std::vector<const char*>>> vectors_;
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_BENCH_SERVICE_H_
