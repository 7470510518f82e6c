// Promises of the kernel's time.

#include <chrono>
#include <thread>
#include <vector>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"

namespace plexion_certify {
namespace {

using Time = IQXKernel::Time;

void Forward(Case& c) {
  c.Step("reading the time again and again");
  Time last = c.Kernel().GetTime();
  for (int i = 0; i < 50000; ++i) {
    const Time now = c.Kernel().GetTime();
    if (now < last) {
      c.Fail(
          "a time no earlier than the one before",
          Text("%lld ns after %lld ns", static_cast<long long>(now), static_cast<long long>(last)));
    }
    last = now;
  }
}

void Passes(Case& c) {
  // Against the kernel's own Sleep, so that a kernel with a time of its own is not accused.
  c.Step("sleeping 200 ms");  // a clock of 20 ms steps is right, too
  const auto began = std::chrono::steady_clock::now();
  const Time before = c.Kernel().GetTime();
  c.SleepMs(200);
  const Time passed = c.Kernel().GetTime() - before;
  const Time real = std::chrono::nanoseconds(std::chrono::steady_clock::now() - began).count();
  CERTIFY_REQUIRE(c, passed > 0, "time passes in a sleep of 200 ms", "it stood still");
  // A sleep that returns at once is another promise: then what really passed is the measure.
  const Time atLeast = std::min<Time>(200 * kMillisecond, real) * 9 / 10;
  const Time atMost = 10 * std::max<Time>(200 * kMillisecond, real);
  CERTIFY_REQUIRE(c, passed >= atLeast && passed <= atMost,
                  Text("%lld to %lld ns pass in that sleep", static_cast<long long>(atLeast),
                       static_cast<long long>(atMost)),
                  Text("%lld: nanoseconds are meant", static_cast<long long>(passed)));
}

void Sleeps(Case& c) {
  for (const int milliseconds : {1, 20, 60}) {
    c.Step(Text("sleeping %d ms", milliseconds));
    const auto began = std::chrono::steady_clock::now();
    const Time before = c.Kernel().GetTime();
    c.SleepMs(milliseconds);
    const Time real = std::chrono::nanoseconds(std::chrono::steady_clock::now() - began).count();
    const Time slept = std::max(real, c.Kernel().GetTime() - before);
    CERTIFY_REQUIRE(c, slept >= milliseconds * kMillisecond,
                    Text("a sleep of %d ms at least", milliseconds),
                    Text("%.3f ms", static_cast<double>(slept) / 1e6));
    if (slept > (milliseconds + 100) * kMillisecond) {
      c.Warn(Text("a sleep of %d ms took %.0f ms", milliseconds, static_cast<double>(slept) / 1e6));
    }
  }
  c.Step("sleeping for no time");
  c.Kernel().Sleep(0);
}

void OthersRun(Case& c) {
  // Three times: a busy machine may keep us from the processor once.
  for (int i = 0; i < 3; ++i) {
    c.Step("one thread sleeps, another works");
    std::atomic<bool> sleeping{false}, awake{false};
    CaseThread sleeper(c, [&] {
      sleeping = true;
      c.SleepMs(400);
      awake = true;
    });
    CERTIFY_REQUIRE(c, c.Until([&] { return sleeping.load(); }, 1000),
                    "a second thread that begins", "it did not");
    std::this_thread::sleep_for(std::chrono::milliseconds(30));  // it is asleep by now
    for (int times = 0; times < 20; ++times) {
      c.SleepMs(1);
      c.Kernel().GetTime();
    }
    if (!awake) return;
  }
  c.Fail("twenty sleeps of 1 ms beside one of 400 ms", "they waited for the long one");
}

void Threads(Case& c) {
  c.Step("two threads compare the time");
  std::atomic<Time> latest{c.Kernel().GetTime()};
  const auto compare = [&] {
    for (int i = 0; i < 20000; ++i) {
      const Time seen = latest.load();
      const Time now = c.Kernel().GetTime();
      if (now < seen) {
        c.Fail("no thread reads an earlier time than another did before",
               Text("%lld ns earlier", static_cast<long long>(seen - now)));
      }
      Time before = latest.load();
      while (before < now && !latest.compare_exchange_weak(before, now)) {
      }
    }
  };
  CaseThread one(c, compare), two(c, compare);
}

void Resolution(Case& c) {
  c.Step("waiting for the time to change");
  Time largest = 0;
  for (int i = 0; i < 20; ++i) {
    const Time before = c.Kernel().GetTime();
    Time now = before;
    for (int spin = 0; now == before && spin < 20000000; ++spin) now = c.Kernel().GetTime();
    if (now == before) c.Skip("the kernel's time passes in sleeps only");
    largest = std::max(largest, now - before);
  }
  if (largest > 20 * kMillisecond) {
    c.Warn(Text("the time changes in steps of %.0f ms: key repeat and pictures will be uneven",
                static_cast<double>(largest) / 1e6));
  }
}

constexpr Promise kPromises[] = {
    {"kernel.time.forward", "Time never goes back.", Level::kBasic, "", Forward},
    {"kernel.time.sleeps", "Sleep lasts as long as was asked for, at least.", Level::kBasic, "",
     Sleeps},
    {"kernel.time.nanoseconds", "Time is counted in nanoseconds.", Level::kBasic,
     "kernel.time.forward", Passes},
    {"kernel.time.others-run", "Who sleeps keeps nobody else from the kernel.", Level::kContract,
     "kernel.time.sleeps kernel.thread.runs", OthersRun},
    {"kernel.time.threads", "All threads read the same time.", Level::kContract,
     "kernel.time.forward kernel.thread.runs", Threads},
    {"kernel.time.resolution", "Time is fine enough to tell two frames apart.", Level::kContract,
     "kernel.time.nanoseconds", Resolution},
};

}  // namespace

PromiseGroup KernelTimePromises() {
  return MakeGroup("Kernel: time", "qx/core/IQXKernel.h",
                   "Key repeat, time-outs and the pace of content hang on it. The wall clock is "
                   "not fit for it: it is\n"
                   "set when a device finds the network.",
                   kPromises);
}

}  // namespace plexion_certify
