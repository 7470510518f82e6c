// What a host has of all this.

#include "kit/record/Recorder.h"

#include "kit/record/Crossing.h"

namespace plexion_record {

Recorder::Recorder(IQXKernel& kernel)
    : border_(std::make_unique<Border>(kernel)), kernel_(MakeKernel(*border_), &DestroyKernel) {}

Recorder::~Recorder() = default;

bool Recorder::Open(const RecorderSettings& settings, std::string& error) {
  return border_->Open(settings, error);
}

IQXKernel& Recorder::Kernel() { return *kernel_; }

IQXModule* Recorder::Load(LoadEntry load) { return LoadModule(*border_, load); }

void Recorder::Unload(UnloadEntry unload, IQXModule* service) {
  UnloadModule(*border_, unload, service);
}

void Recorder::Close() { border_->Close("the module is unloaded"); }

IQXModule* LoadModule(Border& border, Recorder::LoadEntry load) {
  Wrapped* service = nullptr;
  CallIn(
      border, Operation::kModuleLoad, [](Encoder&) {},
      [&] {
        IQXModule* const raw = load();
        service = border.Find<Wrapped>(ObjectKind::kService, raw,
                                       [&] { return MakeService(border, raw); });
      },
      [&](Encoder& to) { border.PutObject(to, service); });
  return service != nullptr ? ServiceFace(service) : nullptr;
}

void UnloadModule(Border& border, Recorder::UnloadEntry unload, IQXModule* service) {
  if (service == nullptr) return;
  Wrapped* const wrapper = ServiceBack(service);
  CallIn(
      border, Operation::kModuleUnload, [&](Encoder& to) { border.PutObject(to, wrapper); },
      [&] { unload(static_cast<IQXModule*>(const_cast<void*>(wrapper->behind))); },
      [](Encoder&) {});
  // A module that is loaded again may have its objects at the same addresses.
  border.ForgetModule();
}

}  // namespace plexion_record
