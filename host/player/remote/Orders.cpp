// Orders: the numbers of each in the words of a record.

#include "host/player/remote/Orders.h"

#include <math.h>

namespace plexion_host::player::remote {

namespace {

// As large as a side of a plane may be. Both processes are of one build, but the launcher may have
// been led by content to send nonsense.
constexpr uint64_t kMostSide = 16384;

/// Two 32-bit numbers in a word.
uint64_t Pair(uint32_t high, uint32_t low) { return uint64_t{high} << 32 | low; }
uint32_t High(uint64_t word) { return static_cast<uint32_t>(word >> 32); }
uint32_t Low(uint64_t word) { return static_cast<uint32_t>(word); }

void PutStep(const FrameStep& step, uint64_t* words) {
  words[0] = step.frame;
  words[1] = step.pass;
  words[2] = step.position;
  words[3] = step.playing ? 1 : 0;
}

bool TakeStep(const uint64_t* words, FrameStep& step, std::string& fault) {
  if (words[3] > 1) return Refuse(fault, "no flag for playing");
  step = {words[0], words[1], words[2], words[3] == 1};
  return true;
}

}  // namespace

Record StepRecord(const FrameStep& step) {
  Record record = MakeRecord(Kind::kAdvance);
  PutStep(step, record.words);
  return record;
}

bool ReadStep(const Record& record, FrameStep& step, std::string& fault) {
  return IsOf(record, Kind::kAdvance, fault) && TakeStep(record.words, step, fault);
}

Record InputRecord(const InputEvent& event) {
  Record record = MakeRecord(Kind::kInput);
  record.words[0] = Pair(event.kind, static_cast<uint32_t>(event.button));
  record.words[1] = event.code;
  record.words[2] = Pair(static_cast<uint32_t>(event.direction), event.delta);
  record.words[3] = Pair(event.x, event.y);
  record.words[4] = Pair(event.stageRect.x, event.stageRect.y);
  record.words[5] = Pair(event.stageRect.width, event.stageRect.height);
  return record;
}

bool ReadInput(const Record& record, InputEvent& event, std::string& fault) {
  if (!IsOf(record, Kind::kInput, fault)) return false;
  const uint32_t kind = High(record.words[0]);
  const uint32_t button = Low(record.words[0]);
  const uint32_t direction = High(record.words[2]);
  if (kind > InputEvent::kStageRect) return Refuse(fault, "no kind of input");
  if (button > qx::plexion::kMouseButtonRight) return Refuse(fault, "no button of a mouse");
  if (direction > qx::plexion::kScrollWheelRight) return Refuse(fault, "no direction of a wheel");
  if (Low(record.words[2]) > UINT16_MAX || High(record.words[3]) > UINT16_MAX ||
      Low(record.words[3]) > UINT16_MAX) {
    return Refuse(fault, "a number larger than there can be");
  }
  event.kind = static_cast<InputEvent::Kind>(kind);
  event.button = static_cast<qx::plexion::MouseButton>(button);
  event.code = static_cast<unsigned long>(record.words[1]);
  event.direction = static_cast<qx::plexion::ScrollWheelDirection>(direction);
  event.delta = static_cast<uint16_t>(Low(record.words[2]));
  event.x = static_cast<uint16_t>(High(record.words[3]));
  event.y = static_cast<uint16_t>(Low(record.words[3]));
  event.stageRect = {High(record.words[4]), Low(record.words[4]), High(record.words[5]),
                     Low(record.words[5])};
  return true;
}

Record PlaneRecord(const PlaneMemory& plane) {
  Record record = MakeRecord(Kind::kPlane);
  record.words[0] = plane.dims.width;
  record.words[1] = plane.dims.height;
  record.words[2] = plane.pitchBytes;
  record.words[3] = plane.bytes;
  return record;
}

bool ReadPlane(const Record& record, PlaneMemory& plane, std::string& fault) {
  if (!IsOf(record, Kind::kPlane, fault)) return false;
  // The products below do not wrap: a side is at most 2^14, and the memory is divided rather than
  // the rows multiplied.
  const uint64_t* const words = record.words;
  if (words[0] == 0 || words[1] == 0 || words[0] > kMostSide || words[1] > kMostSide) {
    return Refuse(fault, "a plane of no size that there can be");
  }
  if (words[2] < words[0] * 4 || words[2] > UINT32_MAX || words[3] / words[2] < words[1]) {
    return Refuse(fault, "a plane whose rows do not lie in its memory");
  }
  plane.dims = {static_cast<uint32_t>(words[0]), static_cast<uint32_t>(words[1])};
  plane.pitchBytes = static_cast<uint32_t>(words[2]);
  plane.bytes = words[3];
  return true;
}

Record DrawRecord(const DrawOrder& order) {
  Record record = MakeRecord(Kind::kDraw);
  record.words[0] = order.bgAlpha;
  record.words[1] = order.everything ? 1 : 0;
  record.words[2] = order.step ? 1 : 0;
  if (order.step) PutStep(*order.step, record.words + 3);
  return record;
}

bool ReadDraw(const Record& record, DrawOrder& order, std::string& fault) {
  if (!IsOf(record, Kind::kDraw, fault)) return false;
  if (record.words[0] > 255) return Refuse(fault, "no alpha");
  if (record.words[1] > 1) return Refuse(fault, "no flag for the whole picture");
  order.bgAlpha = static_cast<uint8_t>(record.words[0]);
  order.everything = record.words[1] == 1;
  if (record.words[2] > 1) return Refuse(fault, "no flag for a step");
  if (record.words[2] == 1 && !TakeStep(record.words + 3, order.step.emplace(), fault))
    return false;
  return true;
}

Record SeekRecord(const SeekOrder& order) {
  Record record = MakeRecord(Kind::kSeek);
  record.words[0] = BitsOf(order.seconds);
  record.words[1] = order.relative ? 1 : 0;
  return record;
}

bool ReadSeek(const Record& record, SeekOrder& order, std::string& fault) {
  if (!IsOf(record, Kind::kSeek, fault)) return false;
  const double seconds = NumberOf(record.words[0]);
  // An infinite moment would be compared with frames later on, and a cast of it is undefined.
  if (!isfinite(seconds) || record.words[1] > 1) return Refuse(fault, "no moment to go to");
  order = {seconds, record.words[1] == 1};
  return true;
}

Record FlagRecord(Kind kind, bool flag) {
  Record record = MakeRecord(kind);
  record.words[0] = flag ? 1 : 0;
  return record;
}

bool ReadFlag(const Record& record, Kind kind, bool& flag, std::string& fault) {
  if (!IsOf(record, kind, fault)) return false;
  if (record.words[0] > 1) return Refuse(fault, "no flag");
  flag = record.words[0] == 1;
  return true;
}

Record VolumeRecord(double volume) {
  Record record = MakeRecord(Kind::kVolume);
  record.words[0] = BitsOf(volume);
  return record;
}

bool ReadVolume(const Record& record, double& volume, std::string& fault) {
  if (!IsOf(record, Kind::kVolume, fault)) return false;
  const double number = NumberOf(record.words[0]);
  if (!isfinite(number) || number < 0 || number > 1) return Refuse(fault, "no volume");
  volume = number;
  return true;
}

Record ContentRecord(Kind kind, const ContentOrder& order) {
  Record record = MakeRecord(kind);
  record.words[0] = static_cast<uint64_t>(order.kind);
  record.words[1] = order.network ? 1 : 0;
  record.words[2] = order.memoryBytes;
  return record;
}

bool ReadContent(const Record& record, Kind kind, ContentOrder& order, std::string& fault) {
  if (!IsOf(record, kind, fault)) return false;
  if (record.words[0] > static_cast<uint64_t>(ContentKind::kUnknown) || record.words[1] > 1) {
    return Refuse(fault, "no kind of content");
  }
  order.kind = static_cast<ContentKind>(record.words[0]);
  order.network = record.words[1] == 1;
  order.memoryBytes = record.words[2];
  return true;
}

}  // namespace plexion_host::player::remote
