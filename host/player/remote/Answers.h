// What a content's process says, put into records and read out of them.

#ifndef HOST_PLAYER_REMOTE_ANSWERS_H_
#define HOST_PLAYER_REMOTE_ANSWERS_H_

#include <string>

#include "host/player/Engine.h"
#include "host/player/remote/Record.h"

/// The writers are for the content's process. The readers are for the player, which takes each record as
/// if an enemy had written it: a kind that nobody asked for, a number out of its range and a text that
/// is longer than its record are refused, with what is wrong in `fault` for the operator. What a reader
/// lets through may be used without another look.
///
/// Thread   any; nothing is remembered.

namespace plexion_host::player::remote {

Record ProtectedRecord(const std::string& text);
bool ReadProtected(const Record& record, std::string& text, std::string& fault);

Record LoadedRecord(const ContentFacts& facts);
bool ReadLoaded(const Record& record, ContentFacts& facts, std::string& fault);

/// Kind::kFailed, or Kind::kGaveUp for the event.
Record ErrorRecord(Kind kind, const EngineError& error);
/// The status that is read is always an error.
bool ReadError(const Record& record, EngineError& error, std::string& fault);

Record AdvancedRecord(const StepResult& result);
bool ReadAdvanced(const Record& record, StepResult& result, std::string& fault);

/// `next`: of a draw with a step, as StepResult's.
Record DrawnRecord(const DrawResult& result, uint64_t next = kNoFrame);
/// The dirty rectangle that is read lies within `dims`.
bool ReadDrawn(const Record& record, const qx::plexion::Dims& dims, DrawResult& result,
               uint64_t& next, std::string& fault);

/// `fault` of the answer is empty when the content went there.
Record SoughtRecord(const std::string& fault);
bool ReadSought(const Record& record, std::string& answer, std::string& fault);

struct Event {
  Kind kind = Kind::kReady;
  unsigned percent = 0;  ///< kProgress: 0 to 100
  uint64_t bytes = 0;    ///< kNoMemory
  EngineError error;     ///< kGaveUp; kNotice uses all of it, with an event's status
};

Record ProgressRecord(unsigned percent);
Record NoticeRecord(qx::plexion::StageWindowStatus event, const std::string& message);
Record NoMemoryRecord(uint64_t bytes);
/// Any event.
bool ReadEvent(const Record& record, Event& event, std::string& fault);

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_ANSWERS_H_
