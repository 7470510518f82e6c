// What the player orders of a content's process, put into records and read out of them.

#ifndef HOST_PLAYER_REMOTE_ORDERS_H_
#define HOST_PLAYER_REMOTE_ORDERS_H_

#include <optional>
#include <string>

#include "host/player/Engine.h"
#include "host/player/content/ContentProbe.h"
#include "host/player/remote/Record.h"

/// The writers are for the player, the readers for the content's process. They check what they read as
/// those of the answers do: what reaches an engine is always what an engine may be handed.
///
/// Thread   any; nothing is remembered.

namespace plexion_host::player::remote {

Record StepRecord(const FrameStep& step);
bool ReadStep(const Record& record, FrameStep& step, std::string& fault);

Record InputRecord(const InputEvent& event);
bool ReadInput(const Record& record, InputEvent& event, std::string& fault);

/// Memory that is drawn into, with its descriptor beside the record.
struct PlaneMemory {
  qx::plexion::Dims dims = {0, 0};
  uint32_t pitchBytes = 0;
  uint64_t bytes = 0;
};
Record PlaneRecord(const PlaneMemory& plane);
/// What is read has all its rows within its bytes.
bool ReadPlane(const Record& record, PlaneMemory& plane, std::string& fault);

struct DrawOrder {
  uint8_t bgAlpha = 255;
  bool everything = false;
  /// Moved to before it is drawn; what stands still then is not drawn.
  std::optional<FrameStep> step = {};
};
Record DrawRecord(const DrawOrder& order);
bool ReadDraw(const Record& record, DrawOrder& order, std::string& fault);

struct SeekOrder {
  double seconds = 0;
  bool relative = false;
};
Record SeekRecord(const SeekOrder& order);
bool ReadSeek(const Record& record, SeekOrder& order, std::string& fault);

Record FlagRecord(Kind kind, bool flag);
bool ReadFlag(const Record& record, Kind kind, bool& flag, std::string& fault);

Record VolumeRecord(double volume);
bool ReadVolume(const Record& record, double& volume, std::string& fault);

/// Content of a kind, and whether it may use the network. For Kind::kPrepare and Kind::kProtect.
struct ContentOrder {
  ContentKind kind = ContentKind::kUnknown;
  bool network = false;
  uint64_t memoryBytes = UINT64_MAX;  ///< that the content may allocate
};
Record ContentRecord(Kind kind, const ContentOrder& order);
bool ReadContent(const Record& record, Kind kind, ContentOrder& order, std::string& fault);

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_ORDERS_H_
