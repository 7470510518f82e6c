// The service as the host sees it.

#include "kit/record/Crossing.h"
#include "qx/plexion/StageWindowSet.h"

namespace plexion_record {
namespace {

using plexion::IPlexion;
using plexion::IPlexionSets;
using plexion::StageWindow;
using plexion::StageWindowParameters;
using plexion::StageWindowSet;

/// The service has no interface of its own that crosses twice: it is found by
/// ServiceBack alone.
struct ServiceKind {
  static constexpr ObjectKind kKind = ObjectKind::kService;
};

class ServiceObject final : public ModuleObject<IPlexionSets, ServiceKind> {
  using Op = Operation;

 public:
  using ModuleObject::ModuleObject;

  void LockPersistentResourcesOnStartup() override {
    Enter(Op::kServiceLockPersistentResources, &IPlexion::LockPersistentResourcesOnStartup);
  }
  void ReleasePersistentResourcesForShutdown() override {
    Enter(Op::kServiceReleasePersistentResources, &IPlexion::ReleasePersistentResourcesForShutdown);
  }
  int InitParameters(StageWindowParameters& parameters) override {
    int zero = 0;
    WithParameters(
        Op::kServiceInitParameters, parameters, [](Encoder&) {},
        [&](StageWindowParameters& own) { zero = Raw()->InitParameters(own); },
        [&](Encoder& to) { to.Signed(zero); });
    return zero;
  }
  bool ParseCommandLineParameters(int argc, const char** argv,
                                  StageWindowParameters& parameters) override {
    bool good = false;
    WithParameters(
        Op::kServiceParseCommandLine, parameters,
        [&](Encoder& to) { border_.PutWords(to, argc, argv); },
        [&](StageWindowParameters& own) {
          good = Raw()->ParseCommandLineParameters(argc, argv, own);
        },
        [&](Encoder& to) { to.Bool(good); });
    return good;
  }
  StageWindow* CreateStageWindow() override {
    return InBy<IPlexionSets, StageWindow*>(
        border_, Op::kServiceCreateStageWindow, *this,
        static_cast<StageWindow* (IPlexion::*)()>(&IPlexion::CreateStageWindow));
  }
  StageWindow* CreateStageWindow(const StageWindowParameters& parameters) override {
    return InBy<IPlexionSets, StageWindow*, const StageWindowParameters&>(
        border_, Op::kServiceCreateStageWindowFor, *this,
        static_cast<StageWindow* (IPlexion::*)(const StageWindowParameters&)>(
            &IPlexion::CreateStageWindow),
        parameters);
  }
  void DestroyStageWindow(StageWindow* window) override {
    BorderThread& thread = border_.Here();
    const std::vector<Wrapped*> before = thread.dying;
    AddDying(WrapperOf(window), thread.dying);
    Enter(Op::kServiceDestroyStageWindow, &IPlexion::DestroyStageWindow, window);
    EndDying(thread, before);
  }
  int ShowUsage(const char* programName) override {
    return InBy<IPlexionSets, int, const char*>(
        border_, Op::kServiceShowUsage, *this,
        static_cast<int (IPlexion::*)(const char*)>(&IPlexion::ShowUsage), programName);
  }
  int ShowUsage(const char* programName, unsigned long maxStageWindows) override {
    return InBy<IPlexionSets, int, const char*, unsigned long>(
        border_, Op::kServiceShowUsageFor, *this,
        static_cast<int (IPlexionSets::*)(const char*, unsigned long)>(&IPlexionSets::ShowUsage),
        programName, maxStageWindows);
  }
  bool SetKeyInputMode(plexion::KeyInputMode mode, IQXKernel::Time delay,
                       IQXKernel::Time interval) override {
    return Enter(Op::kServiceSetKeyInputMode, &IPlexion::SetKeyInputMode, mode, delay, interval);
  }
  void DispatchKeyDown(unsigned long key) override {
    Enter(Op::kServiceDispatchKeyDown, &IPlexion::DispatchKeyDown, key);
  }
  void DispatchKeyUp(unsigned long key) override {
    Enter(Op::kServiceDispatchKeyUp, &IPlexion::DispatchKeyUp, key);
  }
  void DispatchMouseButtonDown(plexion::MouseButton button, unsigned short x,
                               unsigned short y) override {
    Enter(Op::kServiceDispatchMouseButtonDown, &IPlexion::DispatchMouseButtonDown, button, x, y);
  }
  void DispatchMouseButtonUp(plexion::MouseButton button, unsigned short x,
                             unsigned short y) override {
    Enter(Op::kServiceDispatchMouseButtonUp, &IPlexion::DispatchMouseButtonUp, button, x, y);
  }
  void DispatchMouseMove(unsigned short x, unsigned short y) override {
    Enter(Op::kServiceDispatchMouseMove, &IPlexion::DispatchMouseMove, x, y);
  }
  void DispatchScrollWheelScroll(plexion::ScrollWheelDirection direction,
                                 unsigned short delta) override {
    Enter(Op::kServiceDispatchScrollWheelScroll, &IPlexion::DispatchScrollWheelScroll, direction,
          delta);
  }
  const char* StageWindowStatusToString(plexion::StageWindowStatus status) override {
    return Enter(Op::kServiceStatusToString, &IPlexion::StageWindowStatusToString, status);
  }

#define PLEXION_DIRECTORY(NAME, OPERATION) \
  bool NAME(QXString& out) override { return Enter(Op::OPERATION, &IPlexion::NAME, out); }
  PLEXION_DIRECTORY(GetPlexionDataDirectory, kServiceGetPlexionDataDirectory)
  PLEXION_DIRECTORY(GetPlexionBinDirectory, kServiceGetPlexionBinDirectory)
  PLEXION_DIRECTORY(GetPlexionBaseDirectory, kServiceGetPlexionBaseDirectory)
  PLEXION_DIRECTORY(GetPlexionFontDirectory, kServiceGetPlexionFontDirectory)
  PLEXION_DIRECTORY(GetUserPrivateDataDirectory, kServiceGetUserPrivateDataDirectory)
  PLEXION_DIRECTORY(GetPlexionTempDirectory, kServiceGetPlexionTempDirectory)
  PLEXION_DIRECTORY(GetApplicationPrivateTempFileDirectory, kServiceGetPrivateTempFileDirectory)
#undef PLEXION_DIRECTORY

  bool SetUserInputKey(int key) override {
    return Enter(Op::kServiceSetUserInputKey, &IPlexion::SetUserInputKey, key);
  }
  int GetUserInputKey() override {
    return Enter(Op::kServiceGetUserInputKey, &IPlexion::GetUserInputKey);
  }
  bool SetWindowXID(int xid) override {
    return Enter(Op::kServiceSetWindowXID, &IPlexion::SetWindowXID, xid);
  }
  int GetWindowXID() override { return Enter(Op::kServiceGetWindowXID, &IPlexion::GetWindowXID); }
  void SetExitFlag() override { Enter(Op::kServiceSetExitFlag, &IPlexion::SetExitFlag); }
  void GetExitFlag(bool& flag) override {
    Enter(Op::kServiceGetExitFlag, &IPlexion::GetExitFlag, flag);
  }
  bool SetViewIndex(int index) override {
    return Enter(Op::kServiceSetViewIndex, &IPlexion::SetViewIndex, index);
  }
  int GetViewIndex() override { return Enter(Op::kServiceGetViewIndex, &IPlexion::GetViewIndex); }

  /// A picture: its size, and not what is in it.
  bool SetLastFrame(char* data, int size, long value) override {
    bool kept = false;
    CallIn(
        border_, Op::kServiceSetLastFrame,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          to.Bool(data != nullptr);
          to.Signed(size);
          to.Signed(value);
        },
        [&] { kept = Raw()->SetLastFrame(data, size, value); },
        [&](Encoder& to) { to.Bool(kept); });
    return kept;
  }
  void GetLastFrame(char** data, int* size, long* value, bool* valid) override {
    CallIn(
        border_, Op::kServiceGetLastFrame, [&](Encoder& to) { border_.PutObject(to, this); },
        [&] { Raw()->GetLastFrame(data, size, value, valid); },
        [&](Encoder& to) {
          const bool is = valid != nullptr && *valid;
          to.Bool(is);
          // Without one the host's own values are there still.
          to.Signed(is && size != nullptr ? *size : 0);
          to.Signed(is && value != nullptr ? *value : 0);
        });
  }
  bool SetStreamFrameRate(double& rate) override {
    bool taken = false;
    CallIn(
        border_, Op::kServiceSetStreamFrameRate,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          to.Double(rate);
        },
        [&] { taken = Raw()->SetStreamFrameRate(rate); }, [&](Encoder& to) { to.Bool(taken); });
    return taken;
  }
  bool GetStreamFrameRate(double& rate) override {
    return Enter(Op::kServiceGetStreamFrameRate, &IPlexion::GetStreamFrameRate, rate);
  }
  bool IsRewindOrForward() override {
    return Enter(Op::kServiceIsRewindOrForward, &IPlexion::IsRewindOrForward);
  }

  QXError CreateAndConfigureStageWindowSet(StageWindowSet& set, int argc,
                                           const char** argv) override {
    QXError error("", 0);
    WithSet(
        Op::kServiceCreateSet, set, [&](Encoder& to) { border_.PutWords(to, argc, argv); },
        [&](StageWindowSet& own) {
          error = Raw()->CreateAndConfigureStageWindowSet(own, argc, argv);
        },
        [&](Encoder& to) { PutValue(border_, to, error); });
    return error;
  }
  QXError CreateAndConfigureStageWindowSet(StageWindowSet& set, int argc, const char** argv,
                                           unsigned long maxStageWindows) override {
    QXError error("", 0);
    WithSet(
        Op::kServiceCreateSetUpTo, set,
        [&](Encoder& to) {
          border_.PutWords(to, argc, argv);
          to.Unsigned(maxStageWindows);
        },
        [&](StageWindowSet& own) {
          error = Raw()->CreateAndConfigureStageWindowSet(own, argc, argv, maxStageWindows);
        },
        [&](Encoder& to) { PutValue(border_, to, error); });
    return error;
  }
  bool RunStageWindowSetToCompletion(StageWindowSet& set) override {
    bool shown = false;
    WithSet(
        Op::kServiceRunSet, set, [](Encoder&) {},
        [&](StageWindowSet& own) { shown = Raw()->RunStageWindowSetToCompletion(own); },
        [&](Encoder& to) { to.Bool(shown); });
    return shown;
  }
  void DestroyStageWindowSet(StageWindowSet& set) override {
    WithSet(
        Op::kServiceDestroySet, set, [](Encoder&) {},
        [&](StageWindowSet& own) { Raw()->DestroyStageWindowSet(own); }, [](Encoder&) {});
  }

 private:
  template <typename Arguments, typename Call, typename Results>
  void WithParameters(Operation operation, StageWindowParameters& parameters,
                      const Arguments& arguments, const Call& call, const Results& results) {
    StageWindowParameters own = Inward(border_, parameters);
    CallIn(
        border_, operation,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          arguments(to);
          PutStageParameters(border_, to, own);
        },
        [&] { call(own); },
        [&](Encoder& to) {
          results(to);
          PutStageParameters(border_, to, own);
        });
    parameters = Outward(border_, own);
  }

  /// The host's set has wrappers, the module's own has windows. Windows that
  /// the call destroys are gone when it returns.
  template <typename Arguments, typename Call, typename Results>
  void WithSet(Operation operation, StageWindowSet& set, const Arguments& arguments,
               const Call& call, const Results& results) {
    BorderThread& thread = border_.Here();
    const std::vector<Wrapped*> before = thread.dying;
    StageWindowSet own;
    for (unsigned i = 0; i < set.Count(); ++i) {
      own.Append(Unwrap(set[i]));
      AddDying(WrapperOf(set[i]), thread.dying);
    }
    std::vector<StageWindow*> left;
    CallIn(
        border_, operation,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          PutSet(to, Faces(set));
          arguments(to);
        },
        [&] {
          call(own);
          for (unsigned i = 0; i < own.Count(); ++i) left.push_back(Wrap(border_, own[i]));
        },
        [&](Encoder& to) {
          results(to);
          PutSet(to, left);
        });
    thread.dying = before;
    set.SetSize(0);
    for (StageWindow* const window : left) set.Append(window);
  }
  static std::vector<StageWindow*> Faces(StageWindowSet& set) {
    std::vector<StageWindow*> faces;
    for (unsigned i = 0; i < set.Count(); ++i) faces.push_back(set[i]);
    return faces;
  }
  void PutSet(Encoder& to, const std::vector<StageWindow*>& windows) {
    to.List(windows.size());
    for (StageWindow* const window : windows) border_.PutObject(to, WrapperOf(window));
  }
  /// A module that keeps its objects elsewhere than the tracked memory: they
  /// are gone all the same.
  void EndDying(BorderThread& thread, const std::vector<Wrapped*>& before) {
    for (size_t i = thread.dying.size(); i > before.size(); --i)
      border_.Forget(thread.dying[i - 1]);
    thread.dying = before;
  }
};

}  // namespace

Wrapped* MakeService(Border& border, IQXModule* raw) {
  return new ServiceObject(border, static_cast<IPlexionSets*>(raw));
}
plexion::IPlexionSets* ServiceFace(Wrapped* service) {
  return static_cast<ServiceObject*>(service);
}
Wrapped* ServiceBack(IQXModule* face) {
  return static_cast<ServiceObject*>(static_cast<IPlexionSets*>(face));
}

}  // namespace plexion_record
