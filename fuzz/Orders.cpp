// Records to a content's process, and the texts that travel in pieces: what is let through is what an
// engine may be handed, and comes out as it is written again.

#include "host/player/remote/Orders.h"

#include <cmath>
#include <cstring>

#include "fuzz/FuzzInput.h"
#include "host/player/remote/SettingsText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace plexion_host::player;
  using namespace plexion_host::player::remote;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  PlayerSettings settings;
  if (ReadSettings(text, settings)) {
    PlayerSettings again;
    Require(ReadSettings(WriteSettings(settings), again), "what is written can be read");
    Require(WriteSettings(again) == WriteSettings(settings), "and is the same");
  }
  ContentAddress address;
  if (ReadAddress(text, address)) {
    ContentAddress again;
    Require(ReadAddress(WriteAddress(address), again) && again.path == address.path, "an address");
  }
  ProxySettings proxy;
  if (ReadProxy(text, proxy)) Require(proxy.host.size() <= size, "no longer than it was");

  Record record;
  std::memcpy(static_cast<void*>(&record), data, size < sizeof record ? size : sizeof record);
  std::string fault;
  FrameStep step;
  ReadStep(record, step, fault);
  InputEvent input;
  if (ReadInput(record, input, fault)) {
    Require(input.kind <= InputEvent::kStageRect, "a kind of input");
    Require(input.button <= qx::plexion::kMouseButtonRight, "a button");
  }
  PlaneMemory plane;
  if (ReadPlane(record, plane, fault)) {
    Require(uint64_t{plane.pitchBytes} * plane.dims.height <= plane.bytes, "rows in their memory");
    Require(uint64_t{plane.dims.width} * 4 <= plane.pitchBytes, "pixels in their row");
  }
  double volume = 0;
  if (ReadVolume(record, volume, fault)) Require(volume >= 0 && volume <= 1, "a volume");
  DrawOrder draw;
  ReadDraw(record, draw, fault);
  SeekOrder seek;
  if (ReadSeek(record, seek, fault)) Require(std::isfinite(seek.seconds), "a moment");
  ContentOrder content;
  ReadContent(record, Kind::kProtect, content, fault);
  bool flag = false;
  ReadFlag(record, Kind::kPlaying, flag, fault);
  return 0;
}
