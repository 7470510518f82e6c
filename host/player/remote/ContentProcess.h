// One content's process, as its player has it.

#ifndef HOST_PLAYER_REMOTE_CONTENTPROCESS_H_
#define HOST_PLAYER_REMOTE_CONTENTPROCESS_H_

#include <signal.h>
#include <sys/types.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "host/base/Descriptor.h"
#include "host/player/remote/Link.h"

namespace plexion_host::player::remote {

/// How an order with an answer came out.
enum class CallEnd {
  kAnswered,
  kEnded,     ///< the process is gone
  kLied,      ///< it answered something else than it was asked
  kGaveUp,    ///< `glance` did not want to wait any longer
  kNotTaken,  ///< it has not read what it was sent before
};

/// Memory that a process has in use: resident, without what it shares with files, such as libraries.
struct ProcessMemory {
  uint64_t ownBytes = 0;
  uint64_t sharedBytes = 0;  ///< that others can have, too: planes, and what it makes of that kind
};

/// One process: its connection, and its life. Whoever holds it last ends it by force; a decoder that does
/// not stop is not waited for.
///
/// Thread   Send, Order and Await: one thread at a time, the player's. Kill, Id, Memory: any. TakeEnd:
///          the one that collects processes.
class ContentProcess {
 public:
  /// Starts one. `program` is a path. Must be called on a thread that lives as long as the process is to:
  /// the system ends it with the thread that started it.
  /// Returns  null with the reason in `error`.
  static std::shared_ptr<ContentProcess> Start(const std::string& program, std::string& error);
  ~ContentProcess();

  /// An order without an answer; `descriptor`, when not negative, goes with it.
  /// Returns  false when the process is gone, or has not read for so long that no more fits.
  bool Send(const Record& order, int descriptor = -1);
  /// The same, with a text of any length.
  bool SendText(const Record& order, std::string_view text, int descriptor = -1);

  /// An order with an answer, which Await takes before there is another one.
  void Order(Record order);
  /// Takes the answer to the last order; no system call when it has come. While it waits, `glance` is
  /// asked every 20 ms whether to wait on.
  CallEnd Await(Record& answer, const std::function<bool()>& glance);
  /// Both.
  CallEnd Call(const Record& order, Record& answer, const std::function<bool()>& glance) {
    Order(order);
    return Await(answer, glance);
  }

  /// Tells the process that the content is to end.
  void Cancel() { page_->cancelled = 1; }
  /// Moves on while the process loads content.
  uint32_t LifeSigns() const { return page_->alive; }

  /// What it says that its content has of counted memory.
  uint64_t CountedBytes() const { return uint64_t{page_->countedKibibytes} * 1024; }

  void Kill();
  /// Collects the process without waiting. Returns  false as long as it is there.
  bool TakeEnd(siginfo_t& end);

  pid_t Id() const { return id_; }
  int Socket() const { return socket_.Get(); }
  int Output() const { return output_.Get(); }
  int Handle() const { return handle_.Get(); }

  /// Zeros when it is gone.
  ProcessMemory Memory() const;
  /// Processor time that it has used, in nanoseconds; -1 when it is gone.
  int64_t WorkedNanoseconds() const;
  /// It computes, or would if it were given a processor: it neither sleeps nor stands still.
  bool IsWorking() const;

 private:
  ContentProcess() = default;

  bool WaitForRoom();
  static Descriptor OpenSystemFile(pid_t id, const char* name);

  pid_t id_ = 0;
  Descriptor handle_;  ///< a pidfd
  Descriptor socket_;
  Descriptor output_;  ///< what it prints, through a pipe
  Descriptor status_;  ///< the system's list of its figures
  Descriptor orderBell_;
  Descriptor answerBell_;
  // The process's ends. Held so that ringing never meets a pipe that nobody reads, which is a signal, and
  // a bell that the process closes is one that does not ring.
  Descriptor orderBellOfProcess_;
  Descriptor answerBellOfProcess_;
  CallPage* page_ = nullptr;
  uint32_t serial_ = 0;   ///< of the last order
  bool ordered_ = false;  ///< its answer was not taken yet
  bool collected_ = false;
};

}  // namespace plexion_host::player::remote

#endif  // HOST_PLAYER_REMOTE_CONTENTPROCESS_H_
