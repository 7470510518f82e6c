// One instance of the player under test, with everything around it that a window would be.

#ifndef KIT_CERTIFY_BENCH_PLAYERSTAGE_H_
#define KIT_CERTIFY_BENCH_PLAYERSTAGE_H_

#include <pthread.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/bench/BareWindow.h"
#include "kit/certify/bench/BenchGraphics.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/core/morvellib/MorvelInstance.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"

namespace plexion_certify {

/// What an instance said once.
struct Heard {
  qx::plexion::StageWindowStatus status;
  bool hasRect;
  qx::plexion::Rect rect;
  qx::plexion::StageWindowStatus answered;  ///< by GetStageWindowStatus from inside of it
  pthread_t thread;
};

/// The player runtime under test; ends the case when there is none.
qx::core::morvellib::IMorvelRuntimeLib& PlayerUnderTest(Case& c);
/// The content that plays; skips the case when none was named.
std::string ContentOf(Case& c);

/// An instance from creation to destruction, and all that it says. The case's thread makes every call
/// through Do, so that a call back from inside of it is seen.
class PlayerStage final : public qx::core::morvellib::MorvelInstanceNotifier {
 public:
  using Status = qx::plexion::StageWindowStatus;

  /// Makes an instance. `content` empty: the one that plays.
  explicit PlayerStage(Case& c, const std::string& content = std::string());
  ~PlayerStage() override;

  qx::core::morvellib::MorvelInstance& Instance() { return *instance_; }
  bool Configure();
  /// The steps of a window, each to its end; ends the case when one is not reached.
  void ConfigureAndLoad();
  void GivePlane(uint32_t width = 320, uint32_t height = 180);
  void PlayFrames(int frames);
  /// Destroys the instance; the destructor does if it was not done.
  void Destroy();

  /// Makes a call and notes that it is under way.
  void Do(const std::string& what, const std::function<void()>& call);

  bool WaitFor(Status status, int milliseconds = 10000);
  bool WaitForFrames(int frames, int milliseconds = 10000);
  bool WasHeard(Status status);
  std::vector<Heard> All();
  int Frames() const { return frames_; }
  int BetweenFrames() const { return betweenFrames_; }
  int Count() const { return count_; }
  /// "kStatusLoaded" and so on, as numbers with a word.
  static std::string NameOf(Status status);

  /// Called on the player's thread from inside of each notification, after it was noted.
  std::function<void(Status)> whenHeard;
  std::function<void()> whenBetweenFrames;

  /// Calls back from inside of a call fail the case.
  std::atomic<bool> checksCaller{false};
  BareWindow window;
  BenchGraphics graphics;
  BenchRenderPlane* plane = nullptr;

 private:
  void OnMorvelInstanceNotification(Status status,
                                    const qx::plexion::StageWindowStatusData* data) override;
  void OnMorvelInstanceInterFrameNotification() override;
  void CheckCaller(const char* what);

  Case& c_;
  qx::core::morvellib::IMorvelRuntimeLib& runtime_;
  const std::string content_;
  qx::core::morvellib::MorvelInstance* instance_ = nullptr;

  std::mutex mutex_;
  std::vector<Heard> heard_;
  std::string doing_;  // the call of the case's own that is under way
  pthread_t doer_{};
  const char* doersStack_ = nullptr;
  std::atomic<int> frames_{0}, betweenFrames_{0}, count_{0};
  std::atomic<bool> destroyed_{false};
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_BENCH_PLAYERSTAGE_H_
