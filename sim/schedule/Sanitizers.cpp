// What the thread sanitizer is told of the simulated device.

#include "sim/schedule/Sanitizers.h"

#include <atomic>

#ifdef SIM_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>

extern "C" {
// The sanitizer's runtime has these; its headers do not.
void __tsan_read_range(void* address, unsigned long size);
void __tsan_write_range(void* address, unsigned long size);
void AnnotateIgnoreReadsBegin(char* file, int line);
void AnnotateIgnoreReadsEnd(char* file, int line);
}
#endif

namespace plexion_sim {

#ifdef SIM_THREAD_SANITIZER

namespace {
std::atomic<uint64_t> reported{0};
}  // namespace

void Released(const void* object) { __tsan_release(const_cast<void*>(object)); }
void Acquired(const void* object) { __tsan_acquire(const_cast<void*>(object)); }
void ModuleReads(const void* bytes, size_t count) {
  if (count > 0) __tsan_read_range(const_cast<void*>(bytes), count);
}
void ModuleWrites(const void* bytes, size_t count) {
  if (count > 0) __tsan_write_range(const_cast<void*>(bytes), count);
}
bool SeesDataRaces() { return true; }
uint64_t DataRaces() { return reported; }
// The one call covers writes as well.
Unseen::Unseen() { AnnotateIgnoreReadsBegin(nullptr, 0); }
Unseen::~Unseen() { AnnotateIgnoreReadsEnd(nullptr, 0); }

#else

void Released(const void*) {}
void Acquired(const void*) {}
void ModuleReads(const void*, size_t) {}
void ModuleWrites(const void*, size_t) {}
bool SeesDataRaces() { return false; }
uint64_t DataRaces() { return 0; }
Unseen::Unseen() {}
Unseen::~Unseen() {}

#endif

}  // namespace plexion_sim

#ifdef SIM_THREAD_SANITIZER
extern "C" {
// What the device's own containers do inside of the C library is no business of the module's. A
// story is told many times in a process: each time, its race is to be found again.
__attribute__((used)) const char* __tsan_default_options() {
  return "ignore_interceptors_accesses=1:suppress_equal_stacks=0:suppress_equal_addresses=0:"
         "report_thread_leaks=0";
}

__attribute__((used)) void __tsan_on_report(const void*) { ++plexion_sim::reported; }
}
#endif
