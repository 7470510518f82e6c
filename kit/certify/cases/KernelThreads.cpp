// Promises of the kernel's threads.

#include <pthread.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"

namespace plexion_certify {
namespace {

using Thread = IQXKernel::Thread;

/// What a procedure saw.
struct Seen {
  IQXKernel* kernel = nullptr;
  std::atomic<int> runs{0};
  std::atomic<Thread*> thread{nullptr};
  std::atomic<bool> mayEnd{true};
  std::atomic<bool> ended{false};
};

void Procedure(Thread* thread, void* argument) {
  auto* const seen = static_cast<Seen*>(argument);
  ++seen->runs;
  seen->thread = thread;
  while (!seen->mayEnd) seen->kernel->Sleep(kMillisecond);
  seen->ended = true;
}

Thread* Make(Case& c) {
  Thread* const thread = c.Kernel().CreateThread();
  CERTIFY_REQUIRE(c, thread != nullptr, "a thread object", "null");
  return thread;
}

/// On a thread of its own: the procedure stays in its loop until Start has returned.
void Runs(Case& c) {
  c.Step("starting a thread");
  Seen seen;
  seen.kernel = &c.Kernel();
  seen.mayEnd = false;
  Thread* const thread = Make(c);
  CERTIFY_REQUIRE(c, thread->Start("certify", &Procedure, &seen), "Start answers true", "false");
  CERTIFY_REQUIRE(c, c.Until([&] { return seen.runs > 0; }, 3000),
                  "the procedure runs, and on a thread of its own: Start returns meanwhile",
                  "it did not begin within three seconds");
  CERTIFY_EXPECT(c, seen.thread == thread,
                 "the procedure is handed the thread and the argument of Start",
                 "another thread object");
  seen.mayEnd = true;
  c.Step("joining it");
  CERTIFY_REQUIRE(c, thread->Join(IQXKernel::kInfinite), "Join without limit answers true",
                  "false");
  c.SleepMs(20);
  CERTIFY_REQUIRE(c, seen.runs == 1, "one run for one Start", Text("%d", seen.runs.load()));
  c.Kernel().DestroyThread(thread);
}

/// What a thread has written is read after the Join, so that it must not come early; and the module joins once
/// more at its end what it has joined before.
void JoinWaits(Case& c) {
  Seen seen;
  seen.kernel = &c.Kernel();
  seen.mayEnd = false;
  Thread* const thread = Make(c);
  thread->Start("certify", &Procedure, &seen);
  CaseThread release(c, [&] {
    c.SleepMs(60);
    seen.mayEnd = true;
  });
  c.Step("joining a thread that ends in 60 ms");
  const bool joined = thread->Join(IQXKernel::kInfinite);
  CERTIFY_REQUIRE(c, joined && seen.ended, "Join returns true when the procedure has returned",
                  joined ? "true while it was running" : "false");
  CERTIFY_REQUIRE(c, thread->Join(0), "a second Join answers true: it has ended", "false");
}

/// A join without limit in its place would hang the end of a window behind a player that is stuck.
void JoinTimeout(Case& c) {
  Seen seen;
  seen.kernel = &c.Kernel();
  seen.mayEnd = false;
  Thread* const thread = Make(c);
  thread->Start("certify", &Procedure, &seen);
  c.Step("joining a thread that runs on, with a time-out of 30 ms");
  const bool joined = thread->Join(30 * kMillisecond);
  CERTIFY_EXPECT(c, !joined, "Join answers false when the time-out passed first", "true");
  seen.mayEnd = true;
  thread->Join(IQXKernel::kInfinite);
}

/// The module joins and destroys the thread that it made also when no mode ever needed it to run.
void NeverStarted(Case& c) {
  c.Step("joining a thread that was never started");
  Thread* const thread = Make(c);
  CERTIFY_REQUIRE(c, thread->Join(1000 * kMillisecond), "true: it counts as ended", "false");
  c.Step("destroying it");
  c.Kernel().DestroyThread(thread);
}

/// The key simulator's thread ends and begins with its mode, on one thread object.
void Again(Case& c) {
  Seen seen;
  seen.kernel = &c.Kernel();
  Thread* const thread = Make(c);
  for (int i = 1; i <= 5; ++i) {
    c.Step(Text("start number %d of one thread", i));
    CERTIFY_REQUIRE(c, thread->Start("certify", &Procedure, &seen),
                    "Start answers true after the Join", "false");
    CERTIFY_REQUIRE(c, thread->Join(IQXKernel::kInfinite), "Join answers true", "false");
    CERTIFY_REQUIRE(c, seen.runs == i, Text("%d runs", i), Text("%d", seen.runs.load()));
  }
}

/// Systems keep some fifteen bytes of a name and refuse longer ones; that is for the kernel to cut.
void LongName(Case& c) {
  Seen seen;
  seen.kernel = &c.Kernel();
  for (const char* name : {"PlexionKeyEventSimulator", "",
                           "a name of sixty-four characters, more than any system keeps of it"}) {
    c.Step(Text("starting a thread called \"%s\"", name));
    Thread* const thread = Make(c);
    char copied[80];
    snprintf(copied, sizeof(copied), "%s", name);
    CERTIFY_REQUIRE(c, thread->Start(copied, &Procedure, &seen),
                    "Start answers true, whatever the name", "false");
    memset(copied, 'x', sizeof(copied) - 1);
    thread->Join(IQXKernel::kInfinite);
    c.Kernel().DestroyThread(thread);
  }
  CERTIFY_REQUIRE(c, seen.runs == 3, "three runs", Text("%d", seen.runs.load()));
}

/// The contract lets the caller's text go when Start returns.
void NameCopied(Case& c) {
  // Seen through the system, where the kernel tells it: a name that was borrowed shows what was written after.
  char name[16] = "certify-name";
  struct Reader {
    std::atomic<bool> go{false};
    IQXKernel* kernel;
    std::string read;
  } reader;
  reader.kernel = &c.Kernel();
  const auto procedure = [](Thread*, void* argument) {
    auto* const self = static_cast<Reader*>(argument);
    while (!self->go) self->kernel->Sleep(kMillisecond);
    char text[32] = "";
    pthread_getname_np(pthread_self(), text, sizeof(text));
    self->read = text;
  };
  Thread* const thread = Make(c);
  thread->Start(name, procedure, &reader);
  memset(name, 'x', sizeof(name) - 1);
  reader.go = true;
  thread->Join(IQXKernel::kInfinite);
  CERTIFY_REQUIRE(c, reader.read.find("xxx") == std::string::npos,
                  "a thread called \"certify-name\", or not by name",
                  "\"" + reader.read + "\": what was written over the name afterwards");
}

/// As many as a wall of videos has. All at the same time, and none of them left afterwards.
void Together(Case& c) {
  c.Step("64 threads at a time");
  const int before = ThreadCount();
  {
    Seen seen;
    seen.kernel = &c.Kernel();
    seen.mayEnd = false;
    std::vector<Thread*> threads;
    for (int i = 0; i < 64; ++i) {
      threads.push_back(Make(c));
      CERTIFY_REQUIRE(c, threads.back()->Start("certify", &Procedure, &seen),
                      Text("thread %d starts", i + 1), "Start answered false");
    }
    CERTIFY_REQUIRE(c, c.Until([&] { return seen.runs == 64; }, 5000),
                    "all 64 run at the same time", Text("%d", seen.runs.load()));
    seen.mayEnd = true;
    for (Thread* thread : threads) {
      thread->Join(IQXKernel::kInfinite);
      c.Kernel().DestroyThread(thread);
    }
  }
  c.Until([&] { return ThreadCount() <= before; }, 1000);
  CERTIFY_REQUIRE(c, ThreadCount() <= before,
                  Text("%d threads of the process afterwards, as before", before),
                  Text("%d", ThreadCount()));
}

/// A sign plays for months: what each content leaves behind of its threads adds up.
void Thousands(Case& c) {
  c.Step("2,000 threads, one after the other");
  long before = 0;
  const int threadsBefore = ThreadCount();
  Seen seen;
  seen.kernel = &c.Kernel();
  for (int i = 0; i < 2000; ++i) {
    if (i == 100) before = ResidentBytes();  // what the system keeps for the next threads is there
    Thread* const thread = Make(c);
    CERTIFY_REQUIRE(c, thread->Start("certify", &Procedure, &seen), Text("thread %d starts", i + 1),
                    "Start answered false");
    thread->Join(IQXKernel::kInfinite);
    c.Kernel().DestroyThread(thread);
  }
  c.Until([&] { return ThreadCount() <= threadsBefore; }, 1000);
  CERTIFY_EXPECT(c, ThreadCount() <= threadsBefore, "no thread left",
                 Text("%d", ThreadCount() - threadsBefore));
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (6L << 20), "what a thread took is given back with it",
                  Text("the process grew by %ld MiB", grown >> 20));
}

constexpr Promise kPromises[] = {
    {"kernel.thread.runs", "Start runs the procedure once, on another thread, with the argument.",
     Level::kBasic, "kernel.time.sleeps", Runs},
    {"kernel.thread.join", "Join returns when the procedure has returned, not before.",
     Level::kBasic, "kernel.thread.runs", JoinWaits},
    {"kernel.thread.join-timeout", "Join answers false when its time-out passed first.",
     Level::kContract, "kernel.thread.runs", JoinTimeout},
    {"kernel.thread.never-started", "A thread that was never started counts as ended.",
     Level::kContract, "kernel.time.sleeps", NeverStarted},
    {"kernel.thread.again", "A thread can be started again after it was joined.", Level::kContract,
     "kernel.thread.join", Again},
    {"kernel.thread.name-length", "A name of any length will do.", Level::kBasic,
     "kernel.thread.runs", LongName},
    {"kernel.thread.name-copied", "The name is copied.", Level::kContract, "kernel.thread.runs",
     NameCopied},
    {"kernel.thread.together", "64 threads run at the same time, and are gone afterwards.",
     Level::kFull, "kernel.thread.join", Together},
    {"kernel.thread.thousands", "A destroyed thread leaves nothing behind.", Level::kFull,
     "kernel.thread.join", Thousands},
};

}  // namespace

PromiseGroup KernelThreadPromises() {
  return MakeGroup("Kernel: threads", "qx/core/IQXKernel.h",
                   "The module's own thread is called PlexionKeyEventSimulator, more than the "
                   "fifteen bytes that many\n"
                   "systems keep: cut a name, and start the thread all the same.",
                   kPromises);
}

}  // namespace plexion_certify
