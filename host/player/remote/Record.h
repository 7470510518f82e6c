// What the player and a content's process say to each other: one record of one size.

#ifndef HOST_PLAYER_REMOTE_RECORD_H_
#define HOST_PLAYER_REMOTE_RECORD_H_

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>
#include <type_traits>

namespace plexion_host::player::remote {

/// Kinds of record. Orders go to the content's process, answers and events come from it. The two sides
/// are always of one build, so the values may change.
enum class Kind : uint32_t {
  // Orders without an answer, over the socket, in the order in which they are sent.
  kText = 1,  ///< a piece of a text; the next other order gets all pieces since the last one
  kPrepare,   ///< content of a kind will come: words as of kProtect; text: its format
  kSettings,  ///< text: see SettingsText.h
  kAddress,   ///< text: see SettingsText.h
  kInput,     ///< see InputRecord
  kProxy,     ///< text: see SettingsText.h
  kPlaying,   ///< words[0]: 0 or 1
  kVolume,    ///< words[0]: the bits of a double from 0 to 1
  kPlane,  ///< with the memory's descriptor; words: width, height, pitch in bytes, memory's bytes
  kSaveMemory,  ///< see Engine::SaveMemory
  // Orders with an answer, by way of the page.
  kProtect = 32,  ///< words: ContentKind, may use the network, bytes of memory
  kLoad,
  kAdvance,  ///< words: frame, pass, position, playing
  kDraw,     ///< words: background alpha, everything, has a step, and that as of kAdvance
  kSeek,     ///< words: bits of seconds, relative
  // Answers, by way of the page.
  kProtected = 64,  ///< text: what protects, now that the content is about to be taken
  kLoaded,          ///< words: width, height, bits of frames a second, frames
  kFailed,          ///< words[0]: StageWindowStatus; text: why
  kAdvanced,        ///< words: changed, next position
  kDrawn,  ///< words: drawn, dirty x, y, width, height, next position; text: what could not be drawn
  kSought,  ///< words[0]: done; text: why not
  // Events, over the socket.
  kReady = 96,   ///< the process has its modules; it waits for content
  kProgress,     ///< words[0]: percent
  kFrameWanted,  ///< see EngineHost::RequestFrame
  kComplete,     ///< see EngineHost::Complete
  kGaveUp,       ///< see EngineHost::Fail; as kFailed
  kNotice,       ///< see EngineHost::Notify; words[0]: StageWindowStatus; text
  kNoMemory,     ///< words[0]: bytes that the window's limit did not allow
};

/// Fixed in size, so that nothing about where a record ends is the sender's word. Plain bytes: whatever
/// they are, they are a record, and reading one is what checks it.
struct Record {
  uint32_t kind = 0;
  uint32_t serial = 0;     ///< of an order with an answer, and of that answer
  uint32_t textBytes = 0;  ///< of `text`
  uint32_t events = 0;     ///< of an answer: that were sent before it
  uint64_t words[8] = {};
  char text[944] = {};
};
static_assert(sizeof(Record) == 1024, "the size is the same on every processor");
static_assert(std::is_trivially_copyable_v<Record>);

constexpr size_t kMostText = sizeof(Record::text);

Record MakeRecord(Kind kind);
/// Puts a text into a record: what does not fit is left out, at the end of a character, with "..." in its
/// place.
void PutText(Record& record, std::string_view text);
/// The first `textBytes` of the text, or as many as there are.
std::string_view TextOf(const Record& record);

/// Notes a reason. Returns  false.
bool Refuse(std::string& fault, const char* what);
/// Whether a record is of this kind, and its text ends in it.
/// Returns  false with the reason in `fault`.
bool IsOf(const Record& record, Kind kind, std::string& fault);

/// Copies a record out of memory that its writer may change at any moment: each byte is read once, and
/// no more of the text than there is.
void CopyRecord(const Record& from, Record& to);

/// A double's bits in a word, and back.
uint64_t BitsOf(double number);
double NumberOf(uint64_t bits);

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_RECORD_H_
