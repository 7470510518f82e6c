// A file as a picture: GIF, PNG and WebP, all frames put together.

#include <string>

#include "fuzz/FuzzInput.h"
#include "host/player/image/PictureTimes.h"
#include "host/player/picture/AnimationCompositor.h"

namespace {

using namespace plexion_host::player;  // NOLINT(google-build-using-namespace): a program of one
                                       // file

/// As much as a few small pictures need; a file that asks for more is refused.
class Watchdog final : public qx::plexion::MemoryWatchdog {
 public:
  void* Alloc(unsigned long size, const char*, unsigned long) override {
    constexpr unsigned long kLimit = 8 * 1024 * 1024;
    if (used_ + size > kLimit) return nullptr;
    used_ += size;
    auto* block = static_cast<unsigned long*>(malloc(size + sizeof(unsigned long)));
    *block = size;
    return block + 1;
  }
  void Free(void* p, const char*, unsigned long) override {
    unsigned long* block = static_cast<unsigned long*>(p) - 1;
    used_ -= *block;
    free(block);
  }
  unsigned long GetBytesUsed() override { return used_; }
  unsigned long GetBytesAvailable() override { return 0; }

 private:
  unsigned long used_ = 0;
};

void ShowAll(AnimationCompositor& compositor) {
  const PictureFacts& facts = compositor.Facts();
  Require(facts.dims.width > 0 && facts.dims.height > 0, "size");
  Require(!facts.frames.empty(), "frames");
  const PictureTimes times(facts.frames);
  Require(times.TicksPerSecond() <= 1000, "no tick is shorter than a millisecond");
  Require(times.TicksOfPass() > 0, "a pass has a length");
  for (size_t i = 0; i < facts.frames.size(); ++i) {
    Require(times.FrameAt(times.EndOf(i) - 1) <= i, "a frame's last tick");
    // Large animations would take all of the fuzzer's time.
    if (i < 8) compositor.Show(i);
  }
  compositor.Show(0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const PictureFormat format = PictureFormatOf(data, size);
  if (format == PictureFormat::kNone) return 0;
  Watchdog watchdog;
  {
    AnimationCompositor compositor(&watchdog);
    EngineError error;
    if (compositor.Open(format, PictureSource{data, size, &watchdog}, error)) {
      ShowAll(compositor);
    } else {
      Require(!error.message.empty(), "a refusal says why");
      Require(qx::plexion::IsTerminalStatus(error.status), "a refusal ends the content");
    }
  }
  Require(watchdog.GetBytesUsed() == 0, "all memory is given back");
  return 0;
}
