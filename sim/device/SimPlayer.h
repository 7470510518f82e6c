// A player runtime and its content, scripted.

#ifndef SIM_DEVICE_SIMPLAYER_H_
#define SIM_DEVICE_SIMPLAYER_H_

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/core/morvellib/MorvelInstance.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "sim/device/ScriptedModule.h"

namespace plexion_sim {

class SimPlayer;

/// What one piece of content does when it is loaded and played.
struct PlayerScript {
  struct LoadStep {
    Nanoseconds after;  ///< since the step before, or the load's start
    qx::plexion::StageWindowStatus status;
    uint32_t percent = 0;           ///< of kInfoLoadProgress
    const char* message = nullptr;  ///< static text
  };

  qx::plexion::Dims authored = {320, 240};
  bool configures = true;  ///< false: Configure is refused
  qx::plexion::StageWindowStatus configureError = qx::plexion::kErrorIncompleteConfiguration;

  /// An error status among them ends the load there.
  std::vector<LoadStep> loadSteps = {
      {1 * kMillisecond, qx::plexion::kInfoLoadProgress, 50},
      {1 * kMillisecond, qx::plexion::kStatusLoaded},
      {1 * kMillisecond, qx::plexion::kStatusReadyToAnimate},
  };

  unsigned frames = 5;  ///< then the content ends; 0: it plays until it is stopped
  Nanoseconds frameTime = 40 * kMillisecond;
  qx::plexion::StageWindowStatus endStatus = qx::plexion::kStatusComplete;
  const char* endMessage = nullptr;  ///< static text
  /// Redrawn with every frame; width 0: the whole plane.
  qx::plexion::Rect redrawn = {0, 0, 0, 0};

  unsigned long allocatesOnLoad = 0;  ///< bytes through the watchdog, kept until the end
  unsigned long allocatesPerFrame = 0;
  bool acceptsRenderPlane = true;
  bool notifiesInPlay = false;  ///< breaks the contract: kStatusPlaying from inside Play

  /// Announced between two frames: the frame's number (from 1) and the status.
  std::vector<std::pair<unsigned, qx::plexion::StageWindowStatus>> announces;

  /// Load fails with `status` at step `step` (0: at once).
  void FailAt(size_t step, qx::plexion::StageWindowStatus status, const char* message = nullptr) {
    if (step < loadSteps.size()) loadSteps.resize(step);
    loadSteps.push_back({1 * kMillisecond, status, 0, message});
  }
};

/// A scripted player instance with a thread of its own. Everything that it is asked stands in the
/// journal, and in the fields below.
class SimInstance final : public qx::core::morvellib::MorvelInstance {
 public:
  SimInstance(SimPlayer& player, std::string name, qx::plexion::StageWindow* window);

  bool Configure(const qx::core::morvellib::MorvelInstanceParameters& parameters) override;
  qx::core::morvellib::MorvelLoadSettings* GetLoadSettings() override;
  bool LoadMVX() override;
  bool LoadMVXAsync() override;
  bool Play() override;
  bool Pause() override;
  bool Terminate(qx::plexion::StageWindowStatus status) override;
  qx::plexion::StageWindowStatus GetStageWindowStatus() override;
  qx::plexion::Dims GetMVXAuthoredStageDims() override;
  bool SetRenderPlane(qx::platform::RenderPlane* plane) override;
  bool ResetRenderPlane(qx::platform::RenderPlane* plane) override;
  void RequestInterFrameNotification() override;
  void SetStageRect(const qx::plexion::Rect& rect) override;
  void KeyDown(unsigned long key) override;
  void KeyUp(unsigned long key) override;
  void MouseButtonDown(qx::plexion::MouseButton button, unsigned short x,
                       unsigned short y) override;
  void MouseButtonUp(qx::plexion::MouseButton button, unsigned short x, unsigned short y) override;
  void MouseMove(unsigned short x, unsigned short y) override;
  void ScrollWheelScroll(qx::plexion::ScrollWheelDirection direction,
                         unsigned short delta) override;
  void SendEvent(unsigned long eventCode) override;
  void Activate() override;
  void Deactivate() override;
  void UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                             const char* password) override;

  // What the story may look at.
  const std::string& GetName() const { return name_; }
  qx::plexion::StageWindow* Window() const { return window_; }
  bool IsDestroyed() const { return destroyed_; }
  bool IsActive() const { return active_; }
  unsigned FramesDrawn() const { return framesDrawn_; }
  qx::platform::RenderPlane* RenderPlane() const { return renderPlane_; }
  /// Input in order: "down 13", "up 13", "button down 0 10,20", "move 1,2", "scroll 1 3", "event
  /// 7".
  const std::vector<std::string>& Input() const { return input_; }
  /// The parameters that Configure got, as copies.
  const qx::core::morvellib::MorvelInstanceParameters& Parameters() const { return *parameters_; }
  PlayerScript& Script() { return script_; }
  /// Raises a status on the player's thread as soon as it is free. For stories that cause events.
  void Announce(qx::plexion::StageWindowStatus status);

 private:
  friend class SimPlayer;

  bool Use(const char* call, const std::string& detail = "");
  bool Answer(const char* call, bool result);
  /// The window makes these calls under this lock of its own, which a player may rely on: two that
  /// nothing orders are a race. `of` is the field that stands for what they share.
  void Ordered(unsigned char& of) { ModuleWrites(&of, 1); }
  void Hear(const char* call, const std::string& what);
  void ThreadMain();
  bool Step();
  void Load();
  void LoadNext();
  void EndWith(qx::plexion::StageWindowStatus status, const char* message);
  void Notify(qx::plexion::StageWindowStatus status,
              const qx::plexion::StageWindowStatusData* data = nullptr);
  void DrawFrame();
  bool Wake() const;
  bool TakePlane(const char* call, Fallible fallible, qx::platform::RenderPlane* plane);
  void Claim(unsigned long bytes);
  void GiveBack();
  /// Asks the player's own thread for something; what the caller did comes before what it then does.
  template <typename Value>
  void HandOver(Value& field, Value value) {
    Released(this);
    field = value;
  }

  SimPlayer& player_;
  SimKernel& kernel_;
  std::string name_;
  qx::plexion::StageWindow* window_;
  PlayerScript script_;
  std::unique_ptr<qx::core::morvellib::MorvelInstanceParameters> parameters_;
  std::unique_ptr<qx::core::morvellib::MorvelLoadSettings> settings_;
  qx::core::morvellib::MorvelInstanceNotifier* notifier_ = nullptr;
  SimTask* thread_ = nullptr;

  qx::plexion::StageWindowStatus status_ = qx::plexion::kStatusUnconfigured;
  qx::platform::RenderPlane* renderPlane_ = nullptr;
  bool loadAsked_ = false;
  bool loading_ = false;
  size_t nextStep_ = 0;
  bool playWanted_ = false;
  bool terminateAsked_ = false;
  qx::plexion::StageWindowStatus terminateAs_ = qx::plexion::kStatusComplete;
  bool stop_ = false;
  unsigned char underStateLock_ = 0;     // for the thread sanitizer alone, see Ordered
  unsigned char underGeometryLock_ = 0;  // the same
  bool destroyed_ = false;
  bool active_ = false;
  unsigned interFrames_ = 0;
  unsigned framesDrawn_ = 0;
  Nanoseconds nextFrame_ = 0;
  std::vector<qx::plexion::StageWindowStatus> toAnnounce_;
  std::vector<void*> blocks_;
  std::vector<std::string> input_;
};

/// "IMorvelRuntimeLib" (and under its other names) with scripted content.
class SimPlayer final : public qx::core::morvellib::IMorvelRuntimeLib, public ScriptedModule {
 public:
  SimPlayer(SimKernel& kernel, const std::string& name) : ScriptedModule(kernel, name) {}

  // The script.
  std::string version = "Simulated player 1.0";
  uint32_t defaultPixelFormat = 1;
  /// The script of content without one of its own.
  PlayerScript usual;
  /// The script for one content path, at first a copy of `usual`.
  PlayerScript& Content(const std::string& path);

  /// All instances ever made, in order.
  SimInstance* Instance(size_t index) const {
    return index < instances_.size() ? instances_[index].get() : nullptr;
  }
  size_t InstanceCount() const { return instances_.size(); }
  /// Reports instances that were never destroyed and forgets all.
  void Clear();
  SimInstance* InstanceOf(const qx::plexion::StageWindow* window) const;

  // IMorvelRuntimeLib.
  void GetVersion(char* buffer, unsigned long size) override;
  uint32_t GetDefaultPixelFormat() override;
  void FillInstanceParameters(qx::core::morvellib::MorvelInstanceParameters& instanceParameters,
                              const qx::plexion::StageWindowParameters& parameters) override;
  qx::core::morvellib::MorvelInstance* CreateMorvelInstance(
      qx::plexion::StageWindow* window) override;
  void DestroyMorvelInstance(qx::core::morvellib::MorvelInstance* instance) override;

 private:
  friend class SimInstance;

  std::map<std::string, PlayerScript> content_;
  std::vector<std::unique_ptr<SimInstance>> instances_;
};

}  // namespace plexion_sim

#endif  // SIM_DEVICE_SIMPLAYER_H_
