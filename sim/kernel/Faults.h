// Which calls are made to fail.

#ifndef SIM_KERNEL_FAULTS_H_
#define SIM_KERNEL_FAULTS_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace plexion_sim {

/// Every operation that a platform may refuse.
enum class Fallible : uint8_t {
  kAllocate,
  kAcquireModule,
  kCreateEvent,
  kCreateMutex,
  kCreateThread,
  kThreadStart,
  kCreateMorvelInstance,
  kInstanceConfigure,
  kInstanceLoad,
  kInstancePlay,
  kInstancePause,
  kInstanceSetRenderPlane,
  kInstanceResetRenderPlane,
  kCreateRenderPlane,
  kCreateOutputPlane,
  kResizeRenderPlane,
  kResizeOutputPlane,
  kMoveOutputPlane,
  kLockPixels,
  kStretchCopy,
  kCreateFileObject,
  kFileOpen,
  kFileEnsureWritable,
  kFileRemoveDirectory,
  kGetBinDirectory,
  kShellRegisterCommand,
  kShellStart,
  kStartMouseStream,
};
constexpr unsigned kFallibleCount = static_cast<unsigned>(Fallible::kStartMouseStream) + 1;

const char* NameOf(Fallible operation);

/// Which calls of which operation fail, and how many of each there were.
class Faults {
 public:
  enum class Repeat { kOnce, kForEver };

  /// Makes the `nth` call (from 1, counted since the device was made) fail; with kForEver all later
  /// ones as well. `name` narrows it to calls for that name (a module's, a path's), which are then
  /// counted by themselves.
  void Fail(Fallible operation, uint64_t nth, Repeat repeat = Repeat::kOnce,
            const std::string& name = "");
  void FailAll(Fallible operation, const std::string& name = "") {
    Fail(operation, 1, Repeat::kForEver, name);
  }
  void Clear() { rules_.clear(); }

  /// Calls so far, of all names.
  uint64_t Count(Fallible operation) const { return counts_[static_cast<unsigned>(operation)]; }
  /// Calls so far for one name.
  uint64_t Count(Fallible operation, const std::string& name) const;
  /// How many calls were made to fail.
  uint64_t Injected() const { return injected_; }

  /// For the kernel and the scripted modules: counts the call. Returns  whether it is to fail.
  bool Fails(Fallible operation, const char* name = nullptr);

 private:
  struct Rule {
    Fallible operation;
    uint64_t nth;
    Repeat repeat;
    std::string name;
  };
  static bool Applies(const Rule& rule, uint64_t call) {
    return call == rule.nth || (rule.repeat == Repeat::kForEver && call > rule.nth);
  }

  std::vector<Rule> rules_;
  uint64_t counts_[kFallibleCount] = {};
  std::map<std::pair<unsigned, std::string>, uint64_t> named_;
  uint64_t injected_ = 0;
};

}  // namespace plexion_sim

#endif  // SIM_KERNEL_FAULTS_H_
