// Planes and their drawing contexts as the module sees them, and hashes of what
// is in them.

#include <algorithm>
#include <cstring>

#include "kit/record/Graphics.h"

namespace plexion_record {
namespace {

constexpr unsigned kSpots = 8;  // in each direction
constexpr size_t kSpotBytes = 32;
/// What a recording can make a replay take for one plane.
constexpr uint64_t kMostPixelBytes = 64 * 1024 * 1024;

uint64_t Mix(uint64_t hash, const unsigned char* bytes, size_t count) {
  for (; count >= 8; bytes += 8, count -= 8) {
    uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    hash = (hash ^ word) * 0x9E3779B97F4A7C15u;
    hash ^= hash >> 32;
  }
  for (; count > 0; ++bytes, --count) hash = (hash ^ *bytes) * 0x100000001B3u;
  return hash;
}

class ContextFace final : public HostObject<platform::DrawingContext> {
 public:
  using HostObject::HostObject;
  bool StretchCopy(platform::Plane* source, const plexion::Rect& sourceRect,
                   const plexion::Rect& destinationRect) override {
    Wrapped* const from = border_.FindFace(source);
    bool drawn = false;
    uint64_t hash = 0;
    CallOut(
        border_, Manner::kCall, Operation::kContextStretchCopy,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutObject(to, from);
          to.Rect(sourceRect);
          to.Rect(destinationRect);
        },
        [&] {
          platform::Plane* const raw = RawPlane(from);
          if (raw != nullptr && border_.PixelsWanted() != Pixels::kNone) {
            if (const void* const pixels = raw->LockPixels(true)) {
              hash = HashPixels(border_.PixelsWanted(), *raw, pixels);
              raw->UnlockPixels();
            }
          }
          drawn = Raw()->StretchCopy(raw, sourceRect, destinationRect);
        },
        [&](Encoder& to) {
          to.Bool(drawn);
          to.Note();
          to.Hash(hash);
        },
        [&](Decoder& results) { drawn = TakeValue<bool>(border_, results); });
    return drawn;
  }
  void Finish() override { Tell(Operation::kContextFinish, &platform::DrawingContext::Finish); }
};

/// What both kinds of planes have.
template <typename Kind>
class PlaneFace : public HostObject<Kind> {
 public:
  PlaneFace(Border& border, Kind* raw) : HostObject<Kind>(border, raw) {
    border.AddFace(static_cast<platform::Plane*>(this), this);
  }
  ~PlaneFace() override {
    if (context_ != nullptr) this->border_.Forget(context_);
    this->border_.RemoveFace(static_cast<platform::Plane*>(this));
  }
  plexion::Dims GetDims() override {
    return this->Ask(Operation::kPlaneGetDims, &platform::Plane::GetDims);
  }
  uint32_t GetPixelFormat() override {
    return this->Ask(Operation::kPlaneGetPixelFormat, &platform::Plane::GetPixelFormat);
  }
  uint32_t GetPitch() override {
    return this->Ask(Operation::kPlaneGetPitch, &platform::Plane::GetPitch);
  }
  void* LockPixels(bool forReading) override {
    uint64_t bytes = 0;
    CallOut(
        this->border_, Manner::kCall, Operation::kPlaneLockPixels,
        [&](Encoder& to) {
          this->border_.PutObject(to, this);
          to.Bool(forReading);
        },
        [&] {
          pixels_ = this->Raw()->LockPixels(forReading);
          written_ = !forReading;
          if (pixels_ == nullptr) return;
          bytes = uint64_t{this->Raw()->GetPitch()} * this->Raw()->GetDims().height;
        },
        [&](Encoder& to) { to.Unsigned(bytes); },
        [&](Decoder& from) {
          bytes = TakeValue<uint64_t>(this->border_, from);
          if (bytes > kMostPixelBytes) from.Fail("a plane of " + std::to_string(bytes) + " bytes");
          if (from.Failed()) return;
          standIn_.resize(static_cast<size_t>(bytes));
          pixels_ = bytes > 0 ? standIn_.data() : nullptr;
        });
    return pixels_;
  }
  void UnlockPixels() override {
    const void* const pixels = std::exchange(pixels_, nullptr);
    uint64_t hash = 0;
    if (this->border_.InReplay() == nullptr && pixels != nullptr && written_) {
      hash = HashPixels(this->border_.PixelsWanted(), *this->Raw(), pixels);
    }
    CallOut(
        this->border_, Manner::kTell, Operation::kPlaneUnlockPixels,
        [&](Encoder& to) {
          this->border_.PutObject(to, this);
          to.Note();
          to.Hash(hash);
        },
        [&] { this->Raw()->UnlockPixels(); }, [](Encoder&) {}, [](Decoder&) {});
  }
  platform::DrawingContext* GetDrawingContext() override {
    platform::DrawingContext* const context =
        this->Ask(Operation::kPlaneGetDrawingContext, &platform::Plane::GetDrawingContext);
    context_ = WrapperOf(context);
    return context;
  }

 private:
  Wrapped* context_ = nullptr;  // lives as long as the plane
  void* pixels_ = nullptr;
  bool written_ = false;
  std::vector<unsigned char> standIn_;  // in a replay
};

class RenderPlaneFace final : public PlaneFace<platform::RenderPlane> {
 public:
  using PlaneFace::PlaneFace;
};

class OutputPlaneFace final : public PlaneFace<platform::OutputPlane> {
  using Plane = platform::OutputPlane;

 public:
  using PlaneFace::PlaneFace;
  void ShowRegion(const plexion::Rect& region) override {
    Tell(Operation::kOutputShowRegion, &Plane::ShowRegion, region);
  }
  bool MoveTo(const plexion::Point& point) override {
    return Call(Operation::kOutputMoveTo, &Plane::MoveTo, point);
  }
  plexion::Rect GetRect() override { return Ask(Operation::kOutputGetRect, &Plane::GetRect); }
  void SetVisible(bool visible) override {
    Tell(Operation::kOutputSetVisible, &Plane::SetVisible, visible);
  }
  bool IsVisible() override { return Ask(Operation::kOutputIsVisible, &Plane::IsVisible); }
  void SetAlpha(unsigned char alpha) override {
    Tell(Operation::kOutputSetAlpha, &Plane::SetAlpha, alpha);
  }
  bool SetAbove(platform::OutputPlane* other) override {
    return Call(Operation::kOutputSetAbove, &Plane::SetAbove, other);
  }
  bool SetBelow(platform::OutputPlane* other) override {
    return Call(Operation::kOutputSetBelow, &Plane::SetBelow, other);
  }
  void SetActive(bool active) override {
    Tell(Operation::kOutputSetActive, &Plane::SetActive, active);
  }
  unsigned char GetAlpha() override { return Ask(Operation::kOutputGetAlpha, &Plane::GetAlpha); }
  unsigned GetStackingIndex() override {
    return Ask(Operation::kOutputGetStackingIndex, &Plane::GetStackingIndex);
  }
  const char* GetName() override { return Ask(Operation::kOutputGetName, &Plane::GetName); }
};

}  // namespace

uint64_t HashPixels(Pixels wanted, platform::Plane& plane, const void* pixels) {
  if (wanted == Pixels::kNone) return 0;
  const plexion::Dims dims = plane.GetDims();
  const size_t pitch = plane.GetPitch();
  const auto* const bytes = static_cast<const unsigned char*>(pixels);
  // What lies behind a row's pixels is not said to be there in every row.
  const size_t row = std::min<size_t>(pitch, size_t{dims.width} * 4);
  uint64_t hash = Mix(0, reinterpret_cast<const unsigned char*>(&dims), sizeof dims);
  if (wanted == Pixels::kWhole || row <= kSpots * kSpotBytes || dims.height <= kSpots) {
    for (uint32_t y = 0; y < dims.height; ++y) hash = Mix(hash, bytes + y * pitch, row);
    return hash;
  }
  for (unsigned y = 0; y < kSpots; ++y) {
    const unsigned char* const line =
        bytes + (dims.height - 1) * uint64_t{y} / (kSpots - 1) * pitch;
    for (unsigned x = 0; x < kSpots; ++x) {
      hash = Mix(hash, line + (row - kSpotBytes) * x / (kSpots - 1), kSpotBytes);
    }
  }
  return hash;
}

platform::Plane* RawPlane(Wrapped* plane) {
  if (plane == nullptr) return nullptr;
  void* const raw = const_cast<void*>(plane->behind);
  if (plane->kind == ObjectKind::kRenderPlane) return static_cast<platform::RenderPlane*>(raw);
  return static_cast<platform::OutputPlane*>(raw);
}

PLEXION_WRAPPER(platform::DrawingContext, ContextFace)
PLEXION_WRAPPER(platform::RenderPlane, RenderPlaneFace)
PLEXION_WRAPPER(platform::OutputPlane, OutputPlaneFace)

}  // namespace plexion_record
