// Answers and events: the one place that decides what is believed of them.

#include "host/player/remote/Answers.h"

#include <math.h>

#include "host/base/Text.h"

namespace plexion_host::player::remote {

namespace {

using qx::plexion::StageWindowStatus;

/// Far beyond what a plane can be; what is larger could only be a lie.
constexpr uint64_t kMostReportedSide = 1000000;
constexpr double kMostRate = 1000000;
/// A double counts frames exactly up to here.
constexpr uint64_t kMostFrames = uint64_t{1} << 53;

// A bool that holds something else than 0 or 1 is undefined behaviour, so flags arrive as words.
bool ReadFlag(uint64_t word, bool& flag) {
  flag = word == 1;
  return word <= 1;
}

/// For people, and for logs that read UTF-8.
std::string ReadText(const Record& record) {
  const std::string_view text = TextOf(record);
  return IsUtf8(text) ? std::string(text) : Printable(text);
}

bool IsError(uint64_t status) {
  return status >= qx::plexion::kErrorIncompleteConfiguration &&
         status <= qx::plexion::kErrorUnsupportedVersion;
}

}  // namespace

Record ProtectedRecord(const std::string& text) {
  Record record = MakeRecord(Kind::kProtected);
  PutText(record, text);
  return record;
}

bool ReadProtected(const Record& record, std::string& text, std::string& fault) {
  if (!IsOf(record, Kind::kProtected, fault)) return false;
  text = ReadText(record);
  return true;
}

Record LoadedRecord(const ContentFacts& facts) {
  Record record = MakeRecord(Kind::kLoaded);
  record.words[0] = facts.stageDims.width;
  record.words[1] = facts.stageDims.height;
  record.words[2] = BitsOf(facts.framesPerSecond);
  record.words[3] = facts.frameCount;
  return record;
}

bool ReadLoaded(const Record& record, ContentFacts& facts, std::string& fault) {
  if (!IsOf(record, Kind::kLoaded, fault)) return false;
  const double rate = NumberOf(record.words[2]);
  if (record.words[0] > kMostReportedSide || record.words[1] > kMostReportedSide) {
    // Stages larger than planes can be are the window's to refuse, with a better reason.
    return Refuse(fault, "a stage larger than there can be");
  }
  // NaN fails neither "<" nor ">".
  if (!isfinite(rate) || rate < 0 || rate > kMostRate) return Refuse(fault, "no frame rate");
  if (record.words[3] > kMostFrames) return Refuse(fault, "more frames than there can be");
  facts.stageDims = {static_cast<uint32_t>(record.words[0]),
                     static_cast<uint32_t>(record.words[1])};
  facts.framesPerSecond = rate;
  facts.frameCount = record.words[3];
  return true;
}

Record ErrorRecord(Kind kind, const EngineError& error) {
  Record record = MakeRecord(kind);
  record.words[0] = static_cast<uint64_t>(error.status);
  PutText(record, error.message);
  return record;
}

bool ReadError(const Record& record, EngineError& error, std::string& fault) {
  // An event that ends the content, and an answer that does, are the same record but for the kind.
  const bool event = record.kind == static_cast<uint32_t>(Kind::kGaveUp);
  if (!IsOf(record, event ? Kind::kGaveUp : Kind::kFailed, fault)) return false;
  if (!IsError(record.words[0])) return Refuse(fault, "a failure that is no error");
  error.status = static_cast<StageWindowStatus>(record.words[0]);
  error.message = ReadText(record);
  return true;
}

Record AdvancedRecord(const StepResult& result) {
  Record record = MakeRecord(Kind::kAdvanced);
  record.words[0] = result.changed ? 1 : 0;
  record.words[1] = result.nextPosition;
  return record;
}

bool ReadAdvanced(const Record& record, StepResult& result, std::string& fault) {
  if (!IsOf(record, Kind::kAdvanced, fault)) return false;
  if (!ReadFlag(record.words[0], result.changed)) return Refuse(fault, "no flag for a change");
  // It only decides when the content is asked next.
  // Any moment will do: one that has passed is the next one.
  result.nextPosition = record.words[1];
  return true;
}

Record DrawnRecord(const DrawResult& result, uint64_t next) {
  Record record = MakeRecord(Kind::kDrawn);
  record.words[0] = result.drawn ? 1 : 0;
  record.words[1] = result.dirty.x;
  record.words[2] = result.dirty.y;
  record.words[3] = result.dirty.width;
  record.words[4] = result.dirty.height;
  record.words[5] = next;
  PutText(record, result.failure);
  return record;
}

bool ReadDrawn(const Record& record, const qx::plexion::Dims& dims, DrawResult& result,
               uint64_t& next, std::string& fault) {
  if (!IsOf(record, Kind::kDrawn, fault)) return false;
  if (!ReadFlag(record.words[0], result.drawn)) return Refuse(fault, "no flag for a picture");
  const uint64_t* const rect = record.words + 1;
  // Each alone first: their sums could come round to something small.
  if (rect[0] > dims.width || rect[2] > dims.width - rect[0] || rect[1] > dims.height ||
      rect[3] > dims.height - rect[1]) {
    return Refuse(fault, "a changed part that lies outside of the plane");
  }
  result.dirty = {static_cast<uint32_t>(rect[0]), static_cast<uint32_t>(rect[1]),
                  static_cast<uint32_t>(rect[2]), static_cast<uint32_t>(rect[3])};
  result.failure = ReadText(record);
  next = record.words[5];  // as ReadAdvanced: any moment will do
  return true;
}

Record SoughtRecord(const std::string& fault) {
  Record record = MakeRecord(Kind::kSought);
  record.words[0] = fault.empty() ? 1 : 0;
  PutText(record, fault);
  return record;
}

bool ReadSought(const Record& record, std::string& answer, std::string& fault) {
  bool done = false;
  if (!IsOf(record, Kind::kSought, fault)) return false;
  if (!ReadFlag(record.words[0], done)) return Refuse(fault, "no flag for a moment");
  answer = ReadText(record);
  // Exactly one of the two: done, or a reason.
  if (done != answer.empty()) return Refuse(fault, "a refusal without a reason");
  return true;
}

Record ProgressRecord(unsigned percent) {
  Record record = MakeRecord(Kind::kProgress);
  record.words[0] = percent > 100 ? 100 : percent;
  return record;
}

Record NoticeRecord(StageWindowStatus event, const std::string& message) {
  Record record = MakeRecord(Kind::kNotice);
  record.words[0] = static_cast<uint64_t>(event);
  PutText(record, message);
  return record;
}

Record NoMemoryRecord(uint64_t bytes) {
  Record record = MakeRecord(Kind::kNoMemory);
  record.words[0] = bytes;
  return record;
}

bool ReadEvent(const Record& record, Event& event, std::string& fault) {
  // Any kind at first, so that IsOf checks the text's length; the kinds that are no events end in
  // default.
  event = Event();
  event.kind = static_cast<Kind>(record.kind);
  if (!IsOf(record, event.kind, fault)) return false;
  switch (event.kind) {
    case Kind::kReady:
    case Kind::kFrameWanted:
    case Kind::kComplete:
      return true;
    case Kind::kProgress:
      if (record.words[0] > 100) return Refuse(fault, "progress beyond 100 percent");
      event.percent = static_cast<unsigned>(record.words[0]);
      return true;
    case Kind::kGaveUp:
      return ReadError(record, event.error, fault);
    case Kind::kNotice:
      // Other statuses are the player's to tell: content that could say "complete" or "ready" for a
      // window would steer it.
      if (record.words[0] != qx::plexion::kInfoNotifyTSTrace &&
          record.words[0] != qx::plexion::kInfoUnsupportedPlaceholderRendered) {
        return Refuse(fault, "a notice of a kind that content does not give");
      }
      event.error = {static_cast<StageWindowStatus>(record.words[0]), ReadText(record)};
      return true;
    case Kind::kNoMemory:
      event.bytes = record.words[0];
      return true;
    default:
      fault = "record " + std::to_string(record.kind) + ", which is no event";
      return false;
  }
}

}  // namespace plexion_host::player::remote
