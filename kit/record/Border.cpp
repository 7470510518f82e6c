// Numbers threads and objects, and writes records.

#include "kit/record/Border.h"

#ifdef __linux__
#include <sys/prctl.h>
#endif
#include <unistd.h>

#include <cstring>

#include "qx/core/Check.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): not every
                        // system's header has it

namespace plexion_record {
namespace {

/// A snapshot's own size: half a chunk of names says more than anybody reads.
constexpr size_t kMostSnapshotObjects = 512;
constexpr size_t kMostThreads = 65536;

/// What the system calls the current thread.
std::string SystemName() {
  char name[32] = "";
#ifdef __linux__
  if (prctl(PR_GET_NAME, name) != 0) name[0] = '\0';
#endif
  return name;
}

}  // namespace

uint64_t Border::NextSerial() {
  static std::atomic<uint64_t> last{0};
  return ++last;
}

Border::~Border() {
  Close("the recorder goes");
  closing_ = true;  // wrappers that go with this have no table any more to be
                    // taken out of
}

bool Border::Open(const RecorderSettings& settings, std::string& error) {
  pixels_ = settings.pixels;
  RecordingFile::Settings file;
  file.path = settings.path;
  file.limitBytes = settings.limitBytes;
  file.keepNs = int64_t{settings.keepMinutes} * 60 * 1000000000;
  file.pixels = static_cast<uint64_t>(settings.pixels);
  // Small recordings get small chunks, so that their ring has some to turn.
  while (file.chunkBytes > kSmallestChunkBytes && file.limitBytes / file.chunkBytes < 32) {
    file.chunkBytes /= 2;
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  // Before the first record: a password that stands in the environment must not be in one that names it.
  secrets_.LearnEnvironment(environ);
  secrets_.HideWords(settings.argc, settings.argv);
  return file_.Open(file, error);
}

void Border::Close(const char* reason) {
  if (outside_ != nullptr) return;
  // The kernel is asked without our lock, here and below: it is a stranger's, and may print, which crosses the
  // border and comes back to us.
  const int64_t now = file_.IsOpen() ? kernel_->GetTime() : 0;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!file_.IsOpen()) return;
  encoder_.Clear();
  encoder_.Text(reason);
  Append(RecordKind::kNote, Operation::kNoteEnd, BorderThread(), 0, now);
  file_.Close();
}

BorderThread& Border::Here() {
  if (outside_ != nullptr) return outside_->Here();
  // Of the thread and not in a table: every crossing asks for it, and no lock is taken for the answer.
  static thread_local BorderThread thread;
  // Numbers are one border's; a thread may outlive it.
  if (thread.border != serial_) {
    thread = BorderThread();
    thread.border = serial_;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      // A host that makes threads without end gets one number for all that come behind these; only the story of
      // who is who suffers.
      if (threadNames_.size() < kMostThreads) threadNames_.emplace_back();
      thread.number = static_cast<uint32_t>(threadNames_.size());
    }
    NoteThread(SystemName());
  }
  return thread;
}

void Border::Append(RecordKind kind, Operation operation, const BorderThread& thread, uint32_t pure,
                    int64_t now) {
  if (!file_.IsOpen()) return;
  if (file_.IsChunkFull(encoder_.Size())) {
    file_.NextChunk(now);
    // The beginning may be gone by the time that this is read: names are said again in each chunk of the ring.
    if (file_.IsInRing()) Snapshot(now);
  }
  RecordHeader header{};
  header.kind = kind;
  header.operation = operation;
  header.thread = thread.number;
  header.pureCalls = pure;
  header.timeNs = now;
  file_.Append(header, encoder_);
}

void Border::Snapshot(int64_t now) {
  const auto note = [&](Operation operation) {
    // Room is left for the record that the chunk was begun for, however large it is.
    if (file_.IsChunkFull(snapshot_.Size() + kLargestRecordBytes)) return;
    RecordHeader header{};
    header.kind = RecordKind::kNote;
    header.operation = operation;
    header.timeNs = now;
    file_.Append(header, snapshot_);
  };
  snapshot_.Clear();
  snapshot_.Unsigned(threadNames_.size());
  snapshot_.Unsigned(byNumber_.size());
  note(Operation::kNoteSnapshot);
  for (size_t i = 0; i < threadNames_.size() && i < kMostSnapshotObjects; ++i) {
    if (threadNames_[i].empty()) continue;
    snapshot_.Clear();
    snapshot_.Unsigned(i + 1);
    snapshot_.Text(threadNames_[i]);
    note(Operation::kNoteThread);
  }
  size_t count = 0;
  for (const auto& [number, object] : byNumber_) {
    // Locks and events are many, and say little without a story.
    if (object->label.empty() || ++count > kMostSnapshotObjects) continue;
    snapshot_.Clear();
    snapshot_.Object(object->kind, number);
    snapshot_.Text(object->label);
    note(Operation::kNoteObject);
  }
}

void Border::NoteLockWaits(Wrapped& mutex, uint32_t holder) {
  if (outside_ != nullptr) return;
  const BorderThread& thread = Here();
  const int64_t now = kernel_->GetTime();
  const std::lock_guard<std::mutex> lock(mutex_);
  encoder_.Clear();
  PutObject(encoder_, &mutex);
  encoder_.Unsigned(holder);
  Append(RecordKind::kNote, Operation::kNoteLockWaits, thread, 0, now);
}

void Border::NoteThread(const std::string& name) {
  if (outside_ != nullptr) return;
  const BorderThread& thread = Here();
  const int64_t now = kernel_->GetTime();
  const std::lock_guard<std::mutex> lock(mutex_);
  QX_CHECK(thread.number > 0 && thread.number <= threadNames_.size(),
           "a thread that speaks has its number");
  threadNames_[thread.number - 1] = name;
  encoder_.Clear();
  encoder_.Unsigned(thread.number);
  encoder_.Text(name);
  Append(RecordKind::kNote, Operation::kNoteThread, thread, 0, now);
}

void Border::PutObject(Encoder& to, Wrapped* object) {
  if (object == nullptr) {
    to.Null();
    return;
  }
  if (object->ordinal == 0) {
    object->ordinal = ++objects_;
    byNumber_[object->ordinal] = object;
  }
  to.Object(object->kind, object->ordinal);
}

void Border::PutText(Encoder& to, const char* text) {
  if (text == nullptr) {
    to.Null();
  } else {
    // Bounded: a text of a host may lack its end, and reading on for it would be our crash.
    to.Text(secrets_.Hide(std::string_view(text, strnlen(text, kLongestTextBytes))));
  }
}

void Border::PutSecret(Encoder& to, const char* text) {
  if (text == nullptr) {
    to.Null();
  } else {
    to.Text(secrets_.HideAll(std::string_view(text, strnlen(text, kLongestTextBytes))));
  }
}

void Border::PutWords(Encoder& to, int count, const char* const* words) {
  const std::vector<std::string> hidden = secrets_.HideWords(count, words);
  to.List(hidden.size());
  for (const std::string& word : hidden) to.Text(word);
}

void Border::PutOpaque(Encoder& to, const void* pointer) {
  if (pointer == nullptr) {
    to.Null();
    return;
  }
  // Numbered in the order in which they come, since addresses differ from run to run.
  to.Opaque(opaque_.emplace(pointer, opaque_.size() + 1).first->second);
}

void Border::PutBlock(Encoder& to, void* block) {
  if (block == nullptr) {
    to.Null();
  } else {
    to.Opaque(blocks_[block] = ++lastBlock_);
    if (outside_ != nullptr) blockOf_[lastBlock_] = block;
  }
}

void Border::TakeBlock(Encoder& to, void* block) {
  const auto found = blocks_.find(block);
  if (found == blocks_.end()) {
    to.Null();
    return;
  }
  to.Opaque(found->second);
  blockOf_.erase(found->second);
  blocks_.erase(found);
}

void* Border::FindBlock(uint64_t number) const {
  const auto found = blockOf_.find(number);
  return found != blockOf_.end() ? found->second : nullptr;
}

const void* Border::FindOpaque(uint64_t number) {
  for (const auto& [pointer, known] : opaque_) {
    if (known == number) return pointer;
  }
  // Some address that is nobody's; the module only keeps it.
  const void* const made =
      reinterpret_cast<const void*>(static_cast<uintptr_t>(0x1000 + 16 * number));
  opaque_.emplace(made, number);
  return made;
}

Wrapped* Border::FindExisting(ObjectKind kind, const void* raw) {
  const std::lock_guard<std::mutex> lock(tableMutex_);
  const auto found = byRaw_.find({raw, kind});
  return found != byRaw_.end() ? found->second.get() : nullptr;
}

void Border::Forget(Wrapped* wrapper) {
  if (wrapper == nullptr || closing_) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    byNumber_.erase(wrapper->ordinal);  // 0 is nobody's
  }
  // Before the lock: what goes takes itself out of other tables, and is destroyed without it.
  std::unique_ptr<Wrapped> gone;
  const std::lock_guard<std::mutex> lock(tableMutex_);
  const auto found = byRaw_.find({wrapper->behind, wrapper->kind});
  if (found == byRaw_.end() || found->second.get() != wrapper) return;
  gone = std::move(found->second);
  byRaw_.erase(found);
}

void Border::ForgetModule() {
  std::vector<Wrapped*> gone;
  {
    const std::lock_guard<std::mutex> lock(tableMutex_);
    for (const auto& [key, wrapper] : byRaw_) {
      // The kinds between are the module's own; those of the host live on.
      if (key.kind >= ObjectKind::kCommand && key.kind <= ObjectKind::kService) {
        gone.push_back(wrapper.get());
      }
    }
  }
  for (Wrapped* const wrapper : gone) Forget(wrapper);
}

void Border::AddFace(const void* face, Wrapped* wrapper) {
  const std::lock_guard<std::mutex> lock(facesMutex_);
  faces_[face] = wrapper;
}

void Border::RemoveFace(const void* face) {
  const std::lock_guard<std::mutex> lock(facesMutex_);
  faces_.erase(face);
}

Wrapped* Border::FindFace(const void* face) {
  if (face == nullptr) return nullptr;
  const std::lock_guard<std::mutex> lock(facesMutex_);
  const auto found = faces_.find(face);
  return found != faces_.end() ? found->second : nullptr;
}

void Border::ForgetBlock(BorderThread& thread, const void* block) {
  // Tracked objects of the module begin behind eight bytes of bookkeeping
  // (qx/core/QXMem.h).
  constexpr size_t kBookkeepingBytes = 8;
  const void* const object = static_cast<const char*>(block) + kBookkeepingBytes;
  for (auto each = thread.dying.begin(); each != thread.dying.end(); ++each) {
    if ((*each)->behind != object) continue;
    Wrapped* const gone = *each;
    thread.dying.erase(each);
    Forget(gone);
    return;
  }
}

Wrapped* Border::FindNumber(uint32_t number) const {
  const auto found = byNumber_.find(number);
  return found != byNumber_.end() ? found->second : nullptr;
}

}  // namespace plexion_record
