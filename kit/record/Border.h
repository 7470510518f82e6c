// The border around the module: who is on which side, which object is which,
// and what is said of each crossing.

#ifndef KIT_RECORD_BORDER_H_
#define KIT_RECORD_BORDER_H_

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "kit/record/Fields.h"
#include "kit/record/Recorder.h"
#include "kit/record/RecordingFile.h"
#include "kit/record/Secrets.h"
#include "qx/core/IQXKernel.h"

namespace plexion_record {

class Border;

/// An object of one side as the other side sees it.
struct Wrapped {
  Wrapped(ObjectKind ofKind, const void* other) : kind(ofKind), behind(other) {}
  virtual ~Wrapped() = default;
  Wrapped(const Wrapped&) = delete;
  Wrapped& operator=(const Wrapped&) = delete;

  const ObjectKind kind;
  const void* behind;    ///< the object itself; null in a replay, for objects of the host
  uint32_t ordinal = 0;  ///< in recordings; 0: it has not been in a record yet
  void* face = nullptr;  ///< of a module: the IQXModule that stands for it
  std::string label;     ///< a thread's or module's name, a window's content
};

/// One thread at the border.
struct BorderThread {
  uint32_t number = 0;     ///< 0: not seen yet
  bool inside = false;     ///< its innermost call is the module's code
  uint32_t pureCalls = 0;  ///< since its last record
  uint64_t border = 0;     ///< which border it was numbered by
  /// Objects of the module that the current call may destroy: when the module
  /// frees their memory they are forgotten, before another one can have the
  /// address.
  std::vector<Wrapped*> dying;
};

/// What stands in the outside's place when a recording is replayed
/// (sim/replay).
class Outside {
 public:
  virtual ~Outside() = default;
  virtual BorderThread& Here() = 0;
  /// Returns when the next record of the recording is one of the current
  /// thread.
  virtual void Await() = 0;
  /// The awaited record is this one, and begins with these fields. Returns what
  /// it has beyond them; does not return when it is another.
  virtual Decoder Compare(RecordKind kind, Operation operation, const Encoder& given) = 0;
  /// On to the next record. A decoder that failed ends the replay.
  virtual void Done(const Decoder& used) = 0;
  /// Makes the calls into the module that were made before the current call
  /// returned.
  virtual void Nested() = 0;
  /// The inside's object of that number, made when there is none yet and the
  /// host has such objects. Null, and the decoder failed, for one that cannot
  /// be.
  virtual Wrapped* Find(ObjectKind kind, uint64_t number, Decoder& from) = 0;
  /// Whether calls of this operation are neither in the recording nor compared.
  virtual bool Ignores(Operation operation) const = 0;
  virtual IQXKernel& Kernel() = 0;
  /// A text that lives as long as the replay.
  virtual const char* Keep(std::string_view text) = 0;
};

/// Numbers threads and objects, and writes records (or, in a replay, holds
/// calls against them).
///
/// The host has only wrapped objects of the module, the module only wrapped
/// ones of the host. Calls of the host's own code to the module's kernel, which
/// a library that both are linked into makes, are no crossings: `inside` tells
/// them apart.
///
/// Order    records are in the order in which they were appended: a call that
///          frees something (a lock, a thread) is recorded before, one that gets
///          something after,
///          so that what happened because of another comes after it.
/// Thread   any.
class Border {
 public:
  explicit Border(IQXKernel& kernel) : kernel_(&kernel) {}
  explicit Border(Outside& outside) : outside_(&outside) {}
  ~Border();
  Border(const Border&) = delete;
  Border& operator=(const Border&) = delete;

  bool Open(const RecorderSettings& settings, std::string& error);
  void Close(const char* reason);

  Outside* InReplay() const { return outside_; }
  IQXKernel& Real() const { return outside_ != nullptr ? outside_->Kernel() : *kernel_; }
  BorderThread& Here();
  Pixels PixelsWanted() const { return pixels_; }

  /// Writes a record, or holds it against the recording. `fields(Encoder&)` is
  /// called once. In a replay it returns what the recorded one has beyond these
  /// fields: Done must follow.
  template <typename Fields>
  Decoder Put(RecordKind kind, Operation operation, const Fields& fields) {
    BorderThread& thread = Here();
    const uint32_t pure = thread.pureCalls;
    thread.pureCalls = 0;
    if (outside_ != nullptr) {
      outside_->Await();
      encoder_.Clear();
      fields(encoder_);
      return outside_->Compare(kind, operation, encoder_);
    }
    const int64_t now = kernel_->GetTime();
    const std::lock_guard<std::mutex> lock(mutex_);
    encoder_.Clear();
    fields(encoder_);
    Append(kind, operation, thread, pure, now);
    return Decoder();
  }
  void Done(const Decoder& used) {
    if (outside_ != nullptr) outside_->Done(used);
  }

  /// A note that begins with `object`.
  void NoteLockWaits(Wrapped& mutex, uint32_t holder);
  void NoteThread(const std::string& name);

  // Inside of Put's `fields` only.

  /// Writes which object it is; the first time gives it its number.
  void PutObject(Encoder& to, Wrapped* object);
  void PutText(Encoder& to, const char* text);
  void PutSecret(Encoder& to, const char* text);
  void PutWords(Encoder& to, int count, const char* const* words);
  void PutOpaque(Encoder& to, const void* pointer);
  /// A block that the module gave, numbered until TakeBlock; null for null.
  void PutBlock(Encoder& to, void* block);
  void TakeBlock(Encoder& to, void* block);

  // Objects.

  /// The wrapper of `raw`; `make()` makes it when there is none. Null for null.
  template <typename Wrapper, typename Make>
  Wrapper* Find(ObjectKind kind, const void* raw, const Make& make) {
    if (raw == nullptr) return nullptr;
    const std::lock_guard<std::mutex> lock(tableMutex_);
    std::unique_ptr<Wrapped>& found = byRaw_[{raw, kind}];
    if (found == nullptr) found.reset(make());
    return static_cast<Wrapper*>(found.get());
  }
  Wrapped* FindExisting(ObjectKind kind, const void* raw);
  /// A wrapper without a real object, in a replay.
  template <typename Wrapper>
  Wrapper* Adopt(Wrapper* made, uint32_t number) {
    made->ordinal = number;
    if (number > objects_) objects_ = number;
    byNumber_[number] = made;
    adopted_.emplace_back(made);
    return made;
  }
  // By the face that the other side has, where that is of a more general type:
  // planes of either kind, modules of every kind.
  void AddFace(const void* face, Wrapped* wrapper);
  void RemoveFace(const void* face);
  /// Null for null and for one that is not of this border.
  Wrapped* FindFace(const void* face);
  /// What it stands for is gone. `wrapper` may be null.
  void Forget(Wrapped* wrapper);
  /// The module is unloaded: nothing of its own is left.
  void ForgetModule();
  /// The module frees a block: what was made in it is gone.
  void ForgetBlock(BorderThread& thread, const void* block);
  /// In a replay: by its number, of either side; null when there is none.
  Wrapped* FindNumber(uint32_t number) const;
  const void* FindOpaque(uint64_t number);
  /// In a replay: the block that PutBlock gave this number; null when there is
  /// none.
  void* FindBlock(uint64_t number) const;

 private:
  struct Key {
    const void* raw;
    ObjectKind kind;
    bool operator==(const Key& other) const { return raw == other.raw && kind == other.kind; }
  };
  struct Hash {
    size_t operator()(const Key& key) const {
      return std::hash<const void*>()(key.raw) * 31 + static_cast<size_t>(key.kind);
    }
  };

  void Append(RecordKind kind, Operation operation, const BorderThread& thread, uint32_t pure,
              int64_t now);
  void Snapshot(int64_t now);

  IQXKernel* const kernel_ = nullptr;
  Outside* const outside_ = nullptr;
  Pixels pixels_ = Pixels::kSampled;
  const uint64_t serial_ = NextSerial();
  static uint64_t NextSerial();
  bool closing_ = false;

  std::mutex mutex_;  // what follows; in a replay one thread runs at a time
  RecordingFile file_;
  Encoder encoder_;
  Encoder snapshot_;
  Secrets secrets_;
  uint32_t objects_ = 0;
  std::map<uint32_t, Wrapped*> byNumber_;
  std::vector<std::string> threadNames_;
  std::unordered_map<const void*, uint64_t> opaque_;
  std::unordered_map<void*, uint64_t> blocks_;
  std::unordered_map<uint64_t, void*> blockOf_;  // in a replay
  uint64_t lastBlock_ = 0;

  std::mutex tableMutex_;
  std::mutex facesMutex_;  // taken while tableMutex_ is held, when a wrapper is made
  std::unordered_map<const void*, Wrapped*> faces_;
  // The wrappers last: planes take themselves out of the table above.
  std::unordered_map<Key, std::unique_ptr<Wrapped>, Hash> byRaw_;
  std::vector<std::unique_ptr<Wrapped>> adopted_;
};

}  // namespace plexion_record

#endif  // KIT_RECORD_BORDER_H_
