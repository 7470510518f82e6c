// Threads for modules.

#include "host/kernel/HostThread.h"

#include "host/base/Check.h"

namespace plexion_host {

HostThread::~HostThread() { Join(IQXKernel::kInfinite); }

bool HostThread::Start(const char* name, Procedure procedure, void* argument) {
  const MutexLock lock(mutex_);
  if (started_ || procedure == nullptr) return false;
  // The system keeps fifteen bytes and refuses a longer name altogether.
  name_ = std::string(name != nullptr ? name : "").substr(0, 15);
  procedure_ = procedure;
  argument_ = argument;
  // Before the thread is there: a quick one would have its end taken back.
  ended_.Reset();
  started_ = pthread_create(&thread_, nullptr, &HostThread::Run, this) == 0;
  return started_;
}

void* HostThread::Run(void* self) {
  auto* thread = static_cast<HostThread*>(self);
  PLEXION_CHECK(thread->procedure_ != nullptr, "a thread that runs has something to do");
  if (!thread->name_.empty()) pthread_setname_np(pthread_self(), thread->name_.c_str());
  thread->procedure_(thread, thread->argument_);
  // The joins end by it: nothing of this object is touched behind it.
  thread->ended_.Signal();
  return nullptr;
}

bool HostThread::Join(const IQXKernel::Time& timeout) {
  {
    const MutexLock lock(mutex_);
    if (!started_) return true;
    // It would never end.
    if (pthread_equal(thread_, pthread_self()) != 0) return false;
  }
  // Not under the mutex: several threads may wait, each with its own time-out.
  if (!ended_.Wait(timeout)) return false;
  const MutexLock lock(mutex_);
  if (started_) {
    // The procedure has returned, so this is short.
    pthread_join(thread_, nullptr);
    started_ = false;
  }
  return true;
}

}  // namespace plexion_host
