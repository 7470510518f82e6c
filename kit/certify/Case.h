// One try of one promise: what it may say, and the threads and waits that it is made of.

#ifndef KIT_CERTIFY_CASE_H_
#define KIT_CERTIFY_CASE_H_

#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "kit/certify/Options.h"
#include "qx/core/IQXKernel.h"

namespace plexion_certify {

class Bench;

constexpr IQXKernel::Time kMillisecond = 1000000;

/// printf into a text.
std::string Text(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// What a case talks to: it does things to the host and says what it expected and what it saw.
///
/// Everything said goes to the runner's process at once, so that it is known when this one crashes. The
/// first failure counts; what follows from it would only hide it.
///
/// Thread   Step, Record and Warn: any. The others: the case's own, since they do not return.
class Case {
 public:
  Case(Bench& bench, const Options& options);

  /// What is done now: said of a case that crashes or hangs.
  void Step(const std::string& what);
  /// Records a failure; the case goes on, as from a thread other than its own it must.
  void Record(const std::string& expected, const std::string& seen);
  /// Records it and ends the case.
  [[noreturn]] void Fail(const std::string& expected, const std::string& seen);
  [[noreturn]] void Skip(const std::string& reason);
  /// Speed only: the contract does not name a number.
  void Warn(const std::string& text);
  /// `check` is called after the case has passed, outside of the kernel's own scheduler, once the kernel was
  /// destroyed: of this process only the standard library may be used. It says what it sees by Record.
  void AfterKernel(std::function<void()> check) { afterKernel_ = std::move(check); }
  const std::function<void()>& CheckAfterKernel() const { return afterKernel_; }
  /// What the runner is told when the case has returned.
  void End();
  bool HasFailed() const { return failed_; }

  Bench& GetBench() { return bench_; }
  const Options& GetOptions() const { return options_; }
  /// The kernel under test, or the kit's own.
  IQXKernel& Kernel();

  /// Sleeps in steps of a millisecond until `condition` holds or `milliseconds` have been slept.
  /// Returns  what `condition` says last.
  bool Until(const std::function<bool()>& condition, int milliseconds);
  void SleepMs(int milliseconds);

  std::mt19937_64 random;  ///< seeded by the run's seed

 private:
  void Say(char kind, const std::string& first, const std::string& second = std::string());

  Bench& bench_;
  const Options& options_;
  std::function<void()> afterKernel_;
  std::atomic<bool> failed_{false};
};

/// Ends a case; caught where it was begun.
struct CaseOver {};

/// Fails case `c` unless `kept`. Macros, since what was seen is asked for after what was waited for.
#define CERTIFY_REQUIRE(c, kept, expected, seen) \
  do {                                           \
    if (!(kept)) (c).Fail(expected, seen);       \
  } while (false)
/// The same, and the case goes on.
#define CERTIFY_EXPECT(c, kept, expected, seen) \
  do {                                          \
    if (!(kept)) (c).Record(expected, seen);    \
  } while (false)

/// A thread of the kernel under test that runs a function once.
class CaseThread {
 public:
  CaseThread(Case& c, std::function<void()> body, const char* name = "Certify");
  /// Waits for it for ever: what hangs is then seen by the runner.
  ~CaseThread();
  CaseThread(const CaseThread&) = delete;
  CaseThread& operator=(const CaseThread&) = delete;

  bool HasEnded() const { return ended_; }
  void Join();

 private:
  static void Run(IQXKernel::Thread* thread, void* self);

  Case& case_;
  IQXKernel& kernel_;
  IQXKernel::Thread* thread_;
  std::function<void()> body_;
  std::atomic<bool> ended_{false};
};

/// Bytes of this process that lie in memory; its threads; its open files.
long ResidentBytes();
int ThreadCount();
int DescriptorCount();

/// An empty folder under the temporary directory, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string path;
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_CASE_H_
