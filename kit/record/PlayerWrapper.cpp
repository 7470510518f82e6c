// The player runtime, its instances, and what a host hears, as the module sees
// them.

#include <algorithm>
#include <cstring>

#include "kit/record/Player.h"

namespace plexion_record {
namespace {

using morvellib::IMorvelRuntimeLib;
using morvellib::MorvelInstance;
using morvellib::MorvelInstanceParameters;

class InstanceFace final : public HostObject<MorvelInstance> {
 public:
  using HostObject::HostObject;

  bool Configure(const MorvelInstanceParameters& parameters) override {
    bool accepted = false;
    // The player gets a wrapper of it: what it tells the window crosses the border as well.
    morvellib::MorvelInstanceNotifier* const heard = Wrap(border_, parameters.notifier);
    notifier_ = heard != nullptr ? WrapperOf(heard) : nullptr;
    CallOut(
        border_, Manner::kCall, Operation::kInstanceConfigure,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          PutPlayerParameters(border_, to, parameters);
        },
        [&] {
          // Of its own memory: the module's texts are not to be copied by
          // another kernel's hands.
          auto& notifier = const_cast<MorvelInstanceParameters&>(parameters).notifier;
          auto* const own = notifier;
          notifier = heard;
          accepted = Raw()->Configure(parameters);
          notifier = own;
        },
        [&](Encoder& to) {
          to.Bool(accepted);
          PutRead(to, parameters);
        },
        [&](Decoder& from) {
          accepted = TakeValue<bool>(border_, from);
          TakeRead(from, parameters);
        });
    return accepted;
  }

  /// The module writes into the texts; LoadMVX records what it wrote.
  morvellib::MorvelLoadSettings* GetLoadSettings() override {
    CallOut(
        border_, Manner::kAsk, Operation::kInstanceGetLoadSettings,
        [&](Encoder& to) { border_.PutObject(to, this); },
        [&] { settings_ = Raw()->GetLoadSettings(); }, [&](Encoder& to) { PutSettings(to); },
        [&](Decoder& from) {
          settings_ = &standIn_;
          TakeString(from, standIn_.contentUrl);
          TakeString(from, standIn_.zorBase);
        });
    return settings_;
  }
  bool LoadMVX() override { return Load(Operation::kInstanceLoadMVX, &MorvelInstance::LoadMVX); }
  bool LoadMVXAsync() override {
    return Load(Operation::kInstanceLoadMVXAsync, &MorvelInstance::LoadMVXAsync);
  }
  bool Play() override { return Call(Operation::kInstancePlay, &MorvelInstance::Play); }
  bool Pause() override { return Call(Operation::kInstancePause, &MorvelInstance::Pause); }
  bool Terminate(plexion::StageWindowStatus status) override {
    return Call(Operation::kInstanceTerminate, &MorvelInstance::Terminate, status);
  }
  plexion::StageWindowStatus GetStageWindowStatus() override {
    return Ask(Operation::kInstanceGetStageWindowStatus, &MorvelInstance::GetStageWindowStatus);
  }
  plexion::Dims GetMVXAuthoredStageDims() override {
    return Ask(Operation::kInstanceGetMVXAuthoredStageDims,
               &MorvelInstance::GetMVXAuthoredStageDims);
  }
  bool SetRenderPlane(platform::RenderPlane* plane) override {
    return Call(Operation::kInstanceSetRenderPlane, &MorvelInstance::SetRenderPlane, plane);
  }
  bool ResetRenderPlane(platform::RenderPlane* plane) override {
    return Call(Operation::kInstanceResetRenderPlane, &MorvelInstance::ResetRenderPlane, plane);
  }
  void RequestInterFrameNotification() override {
    Call(Operation::kInstanceRequestInterFrameNotification,
         &MorvelInstance::RequestInterFrameNotification);
  }
  void SetStageRect(const plexion::Rect& rect) override {
    Call(Operation::kInstanceSetStageRect, &MorvelInstance::SetStageRect, rect);
  }
  void KeyDown(unsigned long key) override {
    Call(Operation::kInstanceKeyDown, &MorvelInstance::KeyDown, key);
  }
  void KeyUp(unsigned long key) override {
    Call(Operation::kInstanceKeyUp, &MorvelInstance::KeyUp, key);
  }
  void MouseButtonDown(plexion::MouseButton button, unsigned short x, unsigned short y) override {
    Call(Operation::kInstanceMouseButtonDown, &MorvelInstance::MouseButtonDown, button, x, y);
  }
  void MouseButtonUp(plexion::MouseButton button, unsigned short x, unsigned short y) override {
    Call(Operation::kInstanceMouseButtonUp, &MorvelInstance::MouseButtonUp, button, x, y);
  }
  void MouseMove(unsigned short x, unsigned short y) override {
    Call(Operation::kInstanceMouseMove, &MorvelInstance::MouseMove, x, y);
  }
  void ScrollWheelScroll(plexion::ScrollWheelDirection direction, unsigned short delta) override {
    Call(Operation::kInstanceScrollWheelScroll, &MorvelInstance::ScrollWheelScroll, direction,
         delta);
  }
  void SendEvent(unsigned long eventCode) override {
    Call(Operation::kInstanceSendEvent, &MorvelInstance::SendEvent, eventCode);
  }
  void Activate() override { Call(Operation::kInstanceActivate, &MorvelInstance::Activate); }
  void Deactivate() override { Call(Operation::kInstanceDeactivate, &MorvelInstance::Deactivate); }
  void UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                             const char* password) override {
    CallOut(
        border_, Manner::kCall, Operation::kInstanceUpdateProxyParameters,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutText(to, host);
          to.Unsigned(port);
          border_.PutText(to, user);
          border_.PutSecret(to, password);
        },
        [&] { Raw()->UpdateProxyParameters(host, port, user, password); }, [](Encoder&) {},
        [](Decoder&) {});
  }
  Wrapped* Notifier() const { return notifier_; }

 private:
  void PutSettings(Encoder& to) {
    if (settings_ == nullptr) return;
    PutString(border_, to, settings_->contentUrl);
    PutString(border_, to, settings_->zorBase);
  }
  bool Load(Operation operation, bool (MorvelInstance::*load)()) {
    bool accepted = false;
    CallOut(
        border_, Manner::kCall, operation,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          PutSettings(to);
        },
        [&] { accepted = (Raw()->*load)(); }, [&](Encoder& to) { to.Bool(accepted); },
        [&](Decoder& from) { accepted = TakeValue<bool>(border_, from); });
    return accepted;
  }

  Wrapped* notifier_ = nullptr;                        // the module's, which hears this instance
  morvellib::MorvelLoadSettings* settings_ = nullptr;  // once the module has asked for them
  morvellib::MorvelLoadSettings standIn_;              // in a replay
};

class RuntimeFace final : public IMorvelRuntimeLib, public Wrapped {
 public:
  RuntimeFace(Border& border, IQXModule* module)
      : Wrapped(ObjectKind::kModule, module), border_(border) {}

  void GetVersion(char* buffer, unsigned long size) override {
    CallOut(
        border_, Manner::kCall, Operation::kRuntimeGetVersion,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          to.Unsigned(size);
        },
        [&] { Raw()->GetVersion(buffer, size); },
        [&](Encoder& to) { to.Text(std::string_view(buffer, strnlen(buffer, size))); },
        [&](Decoder& from) {
          Field field;
          if (!from.Take('t', field) || size == 0) return;
          const size_t length = std::min<size_t>(field.text.size(), size - 1);
          std::memcpy(buffer, field.text.data(), length);
          buffer[length] = '\0';
        });
  }
  uint32_t GetDefaultPixelFormat() override {
    return OutBy<IMorvelRuntimeLib, uint32_t>(border_, Manner::kCall,
                                              Operation::kRuntimeGetDefaultPixelFormat, *this,
                                              &IMorvelRuntimeLib::GetDefaultPixelFormat);
  }
  void FillInstanceParameters(MorvelInstanceParameters& instanceParameters,
                              const plexion::StageWindowParameters& parameters) override {
    CallOut(
        border_, Manner::kCall, Operation::kRuntimeFillInstanceParameters,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          PutStageParameters(border_, to, parameters);
        },
        [&] { Raw()->FillInstanceParameters(instanceParameters, Outward(border_, parameters)); },
        [&](Encoder& to) { PutPlayerParameters(border_, to, instanceParameters); },
        [&](Decoder& from) { TakePlayerParameters(from, instanceParameters); });
  }
  MorvelInstance* CreateMorvelInstance(plexion::StageWindow* window) override {
    return OutBy<IMorvelRuntimeLib, MorvelInstance*, plexion::StageWindow*>(
        border_, Manner::kCall, Operation::kRuntimeCreateMorvelInstance, *this,
        &IMorvelRuntimeLib::CreateMorvelInstance, window);
  }
  void DestroyMorvelInstance(MorvelInstance* instance) override {
    Wrapped* const notifier =
        instance != nullptr ? static_cast<InstanceFace*>(instance)->Notifier() : nullptr;
    GiveBack(border_, *this, Operation::kRuntimeDestroyMorvelInstance, instance,
             [&](MorvelInstance* its) { Raw()->DestroyMorvelInstance(its); });
    // Nobody notifies any more, and the window still stands: its address is
    // nobody else's yet.
    border_.Forget(notifier);
  }

 private:
  IMorvelRuntimeLib* Raw() const {
    return static_cast<IMorvelRuntimeLib*>(static_cast<IQXModule*>(const_cast<void*>(behind)));
  }

  Border& border_;
};

class ObserverFace final : public HostObject<plexion::StageWindowNotifier> {
 public:
  using HostObject::HostObject;
  void OnStageWindowNotification(plexion::StageWindow* window, plexion::StageWindowStatus status,
                                 const plexion::StageWindowStatusData* data) override {
    plexion::StageWindow* const known = Wrap(border_, window);
    CallOut(
        border_, Manner::kCall, Operation::kObserverOnNotification,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutObject(to, WrapperOf(known));
          to.Status(status);
          PutStatusData(border_, to, data);
        },
        [&] { Raw()->OnStageWindowNotification(known, status, data); }, [](Encoder&) {},
        [](Decoder&) {});
  }
};

class RectProviderFace final : public HostObject<plexion::StageWindowRectProvider> {
 public:
  using HostObject::HostObject;
  plexion::Rect GetRectOnScreen() override {
    return Call(Operation::kRectProviderGetRectOnScreen,
                &plexion::StageWindowRectProvider::GetRectOnScreen);
  }
};

}  // namespace

PLEXION_WRAPPER(MorvelInstance, InstanceFace)
PLEXION_WRAPPER(plexion::StageWindowNotifier, ObserverFace)
PLEXION_WRAPPER(plexion::StageWindowRectProvider, RectProviderFace)

Wrapped* MakeRuntime(Border& border, IQXModule* raw, IQXModule*& face) {
  auto* const made = new RuntimeFace(border, raw);
  face = made;
  return made;
}

}  // namespace plexion_record
