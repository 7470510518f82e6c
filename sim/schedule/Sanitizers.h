// Which sanitizer is built in, and what the thread sanitizer is told of the simulated device.
#ifndef SIM_SCHEDULE_SANITIZERS_H_
#define SIM_SCHEDULE_SANITIZERS_H_

#include <cstddef>
#include <cstdint>

#if defined(__SANITIZE_ADDRESS__)
#define SIM_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SIM_ADDRESS_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define SIM_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define SIM_THREAD_SANITIZER 1
#endif
#endif

namespace plexion_sim {

// The device runs on one thread of the system, so to the thread sanitizer a switch between two
// fibers must order nothing: it then sees only the order that the module's own mutexes, events and
// threads make, and a lock that is missing is a data race that it reports, whether or not the two
// accesses came close in this run. The device itself is not instrumented (thread-sanitizer.ignore);
// what it does with the module's memory in the module's name is told with the Module... functions.
//
// Without the thread sanitizer all of these do nothing.

/// What the calling thread has done so far comes before what follows a later Acquired of `object`.
void Released(const void* object);
void Acquired(const void* object);
/// The caller's part of a kernel operation that reads or writes the module's memory.
void ModuleReads(const void* bytes, size_t count);
void ModuleWrites(const void* bytes, size_t count);
/// Whether the thread sanitizer is built in.
bool SeesDataRaces();
/// Data races that the sanitizer has reported in this process, which then ends with its exit code.
uint64_t DataRaces();

/// While it lives the calling thread's accesses are not looked at: for a watcher of the module that
/// reads what threads share at a moment at which nothing runs.
class Unseen {
 public:
  Unseen();
  ~Unseen();
  Unseen(const Unseen&) = delete;
  Unseen& operator=(const Unseen&) = delete;
};

}  // namespace plexion_sim

#endif  // SIM_SCHEDULE_SANITIZERS_H_
