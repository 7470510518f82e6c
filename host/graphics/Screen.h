// The composed screen: which planes lie where, and what of it is out of date.

#ifndef HOST_GRAPHICS_SCREEN_H_
#define HOST_GRAPHICS_SCREEN_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "host/base/Mutex.h"
#include "host/base/Pixels.h"
#include "host/contracts/IHostDisplay.h"
#include "host/graphics/Planes.h"
#include "host/graphics/pixels/PixelStore.h"
#include "host/graphics/pixels/Region.h"

namespace plexion_host {

/// The stack of output planes and the picture that they make: planes from bottom to top, each drawn
/// over what is below it by its pixels' alpha times its own, the lowest over the ground: black, or
/// the colour that it was given.
///
/// Only damaged pixels are composed again, and of them only what no opaque plane above covers. The
/// damage is what a plane shows (ShowRegion), and, when a plane is moved, resized, restacked,
/// shown, hidden, faded or removed, the place where it is and the place where it was.
///
/// One composition takes the placements of all planes at one moment, and holds each plane's pixel
/// lock once while it reads that plane, so that no half-drawn copy gets to the screen.
///
/// A plane on top that is all of the picture, opaque and as large as the screen, borrows the picture's
/// pixels: what its window draws is then composed already. It holds up drawing while it is shown.
///
/// Thread   any. Locks, from outer to inner: compose lock, a surface's pixel lock, state lock.
class Screen {
 public:
  /// A black screen. `dims` are sane (see DimsAreSane).
  explicit Screen(const qx::plexion::Dims& dims);

  qx::plexion::Dims GetDims() const;
  /// Returns  false without memory for it; the screen is then as before.
  bool SetDims(const qx::plexion::Dims& dims);

  /// What lies below all planes: 0x00RRGGBB, black until it is set.
  void SetGround(uint32_t colour);

  /// Called, on the thread that changed something and without any lock of the screen, whenever
  /// there may be something new to present. Setting it waits for a call under way.
  void SetWorkListener(std::function<void()> listener);

  // The stack.

  /// A new plane on top. Null when the size is out of range or there is no memory. It shows nothing
  /// until something is drawn.
  ScreenPlane* AddPlane(const qx::plexion::Rect& rect, qx::plexion::StageWindow* window,
                        const char* name);
  bool Has(const qx::platform::OutputPlane* plane) const;
  /// Returns  false without memory; the plane is then as before. What it shows is stretched to the
  /// new size until the content draws anew.
  bool ResizePlane(ScreenPlane& plane, const qx::plexion::Dims& dims,
                   const qx::plexion::Rect& rect);
  void RemovePlane(ScreenPlane& plane);

  Placement GetPlacement(ScreenPlane& plane) const;
  void Change(ScreenPlane& plane, const std::function<void(Placement&)>& change);
  /// Lets only what lies in `clip`, on the screen, be seen of the plane; null: all of it again.
  /// Returns  false for a plane that is not in the stack.
  bool Clip(const qx::platform::OutputPlane* plane, const qx::plexion::Rect* clip);
  bool Restack(ScreenPlane& plane, const qx::platform::OutputPlane* other, bool above);
  unsigned GetStackingIndex(const ScreenPlane& plane) const;
  void Damage(ScreenPlane& plane, const qx::plexion::Rect& region);

  // Presentation.

  /// While held open nothing becomes due, and pictures taken are those of before. A frame that was
  /// already being composed may still be presented.
  void BeginUpdate();
  void EndUpdate();

  /// Whether Present would present something.
  bool HasWork() const;

  /// Composes into `pixels` (as many as the screen has, rows without padding) instead of a picture
  /// of the screen's own, so that what shows them need not copy; null: into one of its own again.
  /// What is there is taken along. The pixels must stay until this or SetDims is called again.
  void UseCanvas(uint32_t* pixels);
  /// A canvas is on its way, or (false) has come or never will. What is drawn meanwhile waits for it, so
  /// that a plane which is all of the screen is drawn there and nowhere else.
  void ExpectCanvas(bool expects);
  /// Returns  at once, as a rule; see ExpectCanvas.
  void AwaitCanvas();
  /// Whether planes may borrow the picture's pixels, as they may until told otherwise: not where showing
  /// takes long, as drawing waits for it.
  void SetLending(bool lends);

  /// What was seen of a plane. Returns  false when it is not of this screen.
  bool GetHealth(const qx::platform::OutputPlane* plane, bool withPicture, PlaneHealth& health);
  /// Makes the next frame due, though nothing has changed.
  void DamageCorner();

  using Presenter = std::function<void(const PixelStore& picture, const Region& damage)>;
  /// Composes what is due and hands the whole picture over, with the part that differs from the one
  /// handed over before. The picture does not change during the call.
  /// Returns  false, without a call, when nothing is due.
  bool Present(const Presenter& presenter);
  /// Composes what is due and lets `reader` see the picture; what is composed stays due.
  void Read(const std::function<void(const PixelStore& picture)>& reader);

 private:
  struct Layer {
    std::shared_ptr<ScreenPlane> plane;
    Placement placement;
  };
  struct Job {
    Region blend;
    Region copy;
  };

  using Stack = std::vector<std::shared_ptr<ScreenPlane>>;
  Stack::const_iterator Find(const qx::platform::OutputPlane* plane) const REQUIRES(stateMutex_);
  /// The only way to it, so that the compiler sees the lock.
  PlaneState& StateOf(ScreenPlane& plane) const REQUIRES(stateMutex_) { return plane.state_; }
  void AddDamage(const Box& box) REQUIRES(stateMutex_);
  void DamagePlace(const Placement& placement) REQUIRES(stateMutex_);
  void NotifyWork();

  void ComposeDue() REQUIRES(composeMutex_);
  void NotePresented();
  void Compose(const std::vector<Layer>& layers, const Region& damage, uint32_t ground)
      REQUIRES(composeMutex_);
  void Draw(const Layer& layer, const Job& job) REQUIRES(composeMutex_);

  // The picture's pixels, and the plane that borrows them.
  void FillBlank() REQUIRES(composeMutex_);
  void LendToFirst() REQUIRES(composeMutex_);
  bool LendTo(const std::shared_ptr<ScreenPlane>& plane) REQUIRES(composeMutex_);
  /// Returns  true when the topmost plane is the picture, and nothing needs to be composed. Adds to
  /// `damage` what else has to be composed otherwise.
  bool Lend(const std::vector<Layer>& layers, Region& damage) REQUIRES(composeMutex_);
  /// Returns  true when the picture is not one of a screen: the plane had transparent pixels.
  bool TakeBack() REQUIRES(composeMutex_);
  /// The same, and has such a picture composed.
  void TakeBackAndCompose() REQUIRES(composeMutex_);
  /// Returns  false, without a call, when a plane that borrowed the picture is no longer all of it.
  bool ShowLent(const Presenter& presenter, const Region& changed) REQUIRES(composeMutex_);

  // Held while the picture is composed, presented or read. Recursive: a frame's observer may ask
  // for a copy of the screen.
  mutable RecursiveMutex composeMutex_;
  PixelStore picture_ GUARDED_BY(composeMutex_);
  uint32_t* canvas_ GUARDED_BY(composeMutex_) =
      nullptr;  ///< where the picture is when it is not its own
  bool presenting_ GUARDED_BY(composeMutex_) = false;
  bool blank_ GUARDED_BY(composeMutex_) = true;  ///< black in fact, whatever is in its memory
  bool lends_ GUARDED_BY(composeMutex_) = true;
  int lendAfter_ GUARDED_BY(composeMutex_) = 0;  ///< compositions
  std::weak_ptr<ScreenPlane> lent_ GUARDED_BY(composeMutex_);

  // Innermost lock, held for a few assignments at a time.
  mutable Mutex stateMutex_;
  qx::plexion::Dims dims_ GUARDED_BY(stateMutex_);
  uint32_t ground_ GUARDED_BY(stateMutex_) = kOpaqueBlack;
  Stack stack_ GUARDED_BY(stateMutex_);         ///< bottom to top
  Region damage_ GUARDED_BY(stateMutex_);       ///< to be composed
  Region unpresented_ GUARDED_BY(stateMutex_);  ///< composed since the last presentation
  int updateDepth_ GUARDED_BY(stateMutex_) = 0;
  uint64_t storageGeneration_ GUARDED_BY(stateMutex_) = 0;  ///< counts planes' changes of size

  Mutex expectMutex_;
  Condition expectationEnds_;
  bool expects_ GUARDED_BY(expectMutex_) = false;

  Mutex listenerMutex_;  ///< held while the listener is called
  std::function<void()> workListener_ GUARDED_BY(listenerMutex_);
};

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_SCREEN_H_
