// Takes the place of plexion-content and does what no honest one does, as PLEXION_HOSTILE says.

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "host/player/remote/Answers.h"
#include "host/player/remote/Link.h"

namespace {

using namespace plexion_host::player;
using namespace plexion_host::player::remote;

std::string mode;
CallPage* page = nullptr;
uint32_t sent = 0;
bool flickers = false;

void Send(const Record& record, size_t bytes = sizeof(Record)) {
  send(kSocketDescriptor, &record, bytes, MSG_NOSIGNAL);
  ++sent;
}

void Ring() {
  const uint64_t one = 1;
  if (write(kAnswerBellDescriptor, &one, sizeof one) < 0) _exit(9);
}

uint32_t WaitForOrder() {
  uint64_t rings = 0;
  while (read(kOrderBellDescriptor, &rings, sizeof rings) < 0) usleep(1000);
  return page->order.serial;
}

/// `said`: of which order it says that this is the answer.
void Answer(Record record, uint32_t serial, uint32_t said) {
  record.events = sent;
  record.serial = serial;
  CopyRecord(record, page->answer);
  page->answered = said;
  Ring();
}

void Answer(const Record& record, uint32_t serial) { Answer(record, serial, serial); }

/// What is done instead of loading.
void MisbehaveAtLoad(uint32_t serial) {
  if (mode == "crash-at-load") raise(SIGSEGV);
  if (mode == "leave-at-load") _exit(7);
  if (mode == "sleep-at-load") pause();
  if (mode == "wrong-kind") Answer(AdvancedRecord({}), serial);
  if (mode == "wrong-serial") Answer(LoadedRecord({{8, 8}, 10, 5}), serial + 1, serial);
  if (mode == "bell-alone") Ring();
  if (mode == "huge-stage") Answer(LoadedRecord({{4000000000u, 1}, 10, 5}), serial);
  if (mode == "no-rate") Answer(LoadedRecord({{8, 8}, -1, 5}), serial);
  if (mode == "complete-as-error") {
    Record record = ErrorRecord(Kind::kFailed, {});
    record.words[0] = qx::plexion::kStatusComplete;
    Answer(record, serial);
  }
  // The lie stands: what would be said next is not to take its place.
  if (page->answer.kind != static_cast<uint32_t>(Kind::kProtected) || mode == "bell-alone") pause();
}

void Flood() {
  for (;;) Send(NoticeRecord(qx::plexion::kInfoNotifyTSTrace, "more"));
}

/// Takes memory as fast as it can, up to what no machine that runs this lacks.
[[noreturn]] void Hoard(int kind) {
  constexpr size_t kStep = size_t{1} << 20;
  for (int i = 0; i < 1500; ++i) {
    void* const memory = mmap(nullptr, kStep, PROT_READ | PROT_WRITE, kind | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) _exit(9);
    memset(memory, 1, kStep);
    // Whoever looks every 20 ms has to come to it on a loaded machine, too.
    if (i % 8 == 7) usleep(4000);
  }
  _exit(8);
}

/// Writes into what the launcher looks at, at any moment.
[[noreturn]] void Flicker() {
  uint32_t noise = 1;
  for (;;) {
    noise = noise * 1664525 + 1013904223;
    const uint32_t near = page->order.serial;
    if (noise >> 28 == 0) page->answered = near + (noise >> 8) % 3 - 1;
    if (noise >> 28 == 1) page->awaited = noise & 1;
    if (noise >> 28 == 2) page->answer.words[noise >> 8 & 7] = noise >> 16 & 15;
    if (noise >> 28 == 3) page->answer.textBytes = noise;
    if (noise >> 28 == 4) page->answer.serial = near;
    if (noise >> 20 == 0x500) page->answer.kind = noise & 0xFF;
    if (noise >> 28 == 6) std::this_thread::yield();
  }
}

/// What is done while content plays.
void MisbehaveAtPlay(uint32_t serial) {
  if (mode == "crash") raise(SIGSEGV);
  if (mode == "killed") raise(SIGKILL);
  if (mode == "stop") raise(SIGSTOP);
  if (mode == "spin") {
    for (volatile unsigned i = 0;; i = i + 1) {
    }
  }
  if (mode == "sleep") pause();
  if (mode == "waiting-bells") {
    // Whoever rings or hears would wait from now on, if these were the launcher's flags, too.
    for (const int bell : {kOrderBellDescriptor, kAnswerBellDescriptor}) fcntl(bell, F_SETFL, 0);
    const uint64_t full = UINT64_MAX - 1;
    const ssize_t written = write(kOrderBellDescriptor, &full, sizeof full);
    (void)written;  // it is not for the process to ring that one
    Answer(AdvancedRecord({true, 0}), serial);
    pause();
  }
  if (mode == "part-of-a-ring") {
    for (;; usleep(2000)) {
      if (write(kAnswerBellDescriptor, "x", 1) < 0) _exit(9);
    }
  }
  if (mode == "shared-memory") {
    constexpr size_t kBytes = size_t{48} << 20;
    void* const memory =
        mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) _exit(9);
    memset(memory, 1, kBytes);
    mode = "none";
  }
  if (mode == "hoards") Hoard(MAP_PRIVATE);
  if (mode == "hoards-shared") Hoard(MAP_SHARED);
  if (mode == "flood") Flood();
  if (mode == "speaks") Send(NoticeRecord(qx::plexion::kInfoNotifyTSTrace, "before the answer"));
  if (mode == "fails") {
    return Answer(ErrorRecord(Kind::kFailed, {qx::plexion::kErrorCorruptMovie, "out of ink"}),
                  serial);
  }
  if (mode == "short-record") Send(MakeRecord(Kind::kComplete), 10);
  if (mode == "unknown-event") Send(MakeRecord(static_cast<Kind>(4000)));
  if (mode == "print") {
    const std::string line(1000, '\x1b');
    for (;;) puts(line.c_str());
  }
  if (mode == "descriptors") {
    // With each record one more, which nobody has asked for.
    Record record = MakeRecord(Kind::kFrameWanted);
    iovec part = {&record, sizeof record};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = kPageDescriptor;
    memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    for (int i = 0; i < 500; ++i) sendmsg(kSocketDescriptor, &message, MSG_NOSIGNAL);
  }
  Answer(AdvancedRecord({true, 0}), serial);
}

}  // namespace

int main(int argc, char** argv) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const char* const wanted = getenv("PLEXION_HOSTILE");
  if (argc != 2 || wanted == nullptr) return 2;
  (void)argv;
  mode = wanted;
  void* const memory =
      mmap(nullptr, sizeof(CallPage), PROT_READ | PROT_WRITE, MAP_SHARED, kPageDescriptor, 0);
  if (memory == MAP_FAILED) return 2;
  page = static_cast<CallPage*>(memory);
  if (mode == "gone") return 3;
  if (mode == "shrink") {
    // What would end the launcher by a signal at its next look.
    if (ftruncate(kPageDescriptor, 0) == 0) return 4;
    mode = "wrong-kind";
  }
  // From then on it is looked at how much it uses.
  uint32_t serial = WaitForOrder();
  Answer(ProtectedRecord("nothing"), serial);
  serial = WaitForOrder();
  MisbehaveAtLoad(serial);
  if (mode == "shared-memory") {
    Send(NoticeRecord(qx::plexion::kInfoNotifyTSTrace, "heard after that"));
  }
  // One that does what it should, as video does, and tells how often it was only moved on.
  const bool counts = mode == "counts";
  Answer(LoadedRecord({{8, 8}, counts ? 0. : 10., 5}), serial);
  unsigned moves = 0;
  for (;;) {
    serial = WaitForOrder();
    if (static_cast<Kind>(page->order.kind) == Kind::kAdvance) {
      ++moves;
      if (counts) {
        Answer(AdvancedRecord({true, kNoFrame}), serial);
        continue;
      }
      MisbehaveAtPlay(serial);
      continue;
    }
    DrawResult drawn = {true, {0, 0, 8, 8}, ""};
    const bool ahead = page->order.words[2] == 1;
    if (ahead && mode == "ahead-killed") raise(SIGKILL);
    if (ahead && mode == "ahead-stopped") raise(SIGSTOP);
    if (ahead && mode == "ahead-outside") drawn.dirty = {4, 4, 8, 8};
    if (ahead && mode == "ahead-advanced") {
      Answer(AdvancedRecord({true, 0}), serial);
      continue;
    }
    // It says that there is an answer, and never rings.
    if (ahead && mode == "ahead-silent") {
      page->answered = serial - 1;
      continue;
    }
    if (ahead && mode == "flickers" && !flickers) {
      flickers = true;
      std::thread(Flicker).detach();
    }
    if (counts) drawn.failure = std::to_string(moves);
    if (mode == "dirty-outside") drawn.dirty = {4, 4, 8, 8};
    if (mode == "endless-text") {
      Record record = DrawnRecord(drawn);
      record.serial = serial;
      record.textBytes = UINT32_MAX;
      memcpy(static_cast<void*>(&page->answer), &record, sizeof record);
      page->answered = serial;
      Ring();
      continue;
    }
    Answer(DrawnRecord(drawn), serial);
  }
}
