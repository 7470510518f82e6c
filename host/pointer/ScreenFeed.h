// Changes of the screen, kept for whoever shows it elsewhere.

#ifndef HOST_POINTER_SCREENFEED_H_
#define HOST_POINTER_SCREENFEED_H_

#include <chrono>
#include <functional>
#include <vector>

#include "host/base/Mutex.h"
#include "host/contracts/IHostDisplay.h"

namespace plexion_host {

/// What has changed on the screen since the picture was last taken. The display's thread only notes
/// it; the picture is copied by whoever wants it.
class ScreenFeed final : public IFrameObserver {
 public:
  /// `wake` is called on the display's thread when there is something to take, and nothing was
  /// before.
  ScreenFeed(IHostDisplay& display, std::function<void()> wake);
  ~ScreenFeed() override;
  ScreenFeed(const ScreenFeed&) = delete;
  ScreenFeed& operator=(const ScreenFeed&) = delete;

  void OnFramePresented(const PresentedFrame& frame) override;

  bool HasChanged();
  /// Copies the screen. Returns  what is new in it, in screen pixels; empty when nothing is.
  std::vector<qx::plexion::Rect> Take(qx::plexion::Dims& dims, std::vector<uint32_t>& pixels);

 private:
  IHostDisplay& display_;
  const std::function<void()> wake_;
  Mutex mutex_;
  std::vector<qx::plexion::Rect> damage_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_POINTER_SCREENFEED_H_
