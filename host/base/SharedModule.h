// One object behind two modules of a library: there from the first that is loaded to the last that
// goes.

#ifndef HOST_BASE_SHAREDMODULE_H_
#define HOST_BASE_SHAREDMODULE_H_

#include "host/base/Check.h"
#include "host/base/Mutex.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"

namespace plexion_host {

/// The one `Object` of a library, counted by who holds it. Made and destroyed under its lock, so that
/// a second one is never there beside one that is still going; the object's constructor and
/// destructor may acquire and release other modules, but not one that shares the same object.
///
/// Thread   any.
template <typename Object>
class SharedModule {
 public:
  SharedModule() : object_(Hold()) {}
  ~SharedModule() { LetGo(); }
  SharedModule(const SharedModule&) = delete;
  SharedModule& operator=(const SharedModule&) = delete;
  Object& Get() const { return object_; }

  static Object& Hold() {
    const MutexLock lock(mutex);
    if (holders++ == 0) shared = new Object();
    return *shared;
  }
  static void LetGo() {
    const MutexLock lock(mutex);
    PLEXION_CHECK(holders > 0, "a shared module is let go as often as it was held");
    if (--holders > 0) return;
    delete shared;
    shared = nullptr;
  }

 private:
  static inline Mutex mutex;
  static inline Object* shared GUARDED_BY(mutex) = nullptr;
  static inline unsigned holders GUARDED_BY(mutex) = 0;

  Object& object_;
};

}  // namespace plexion_host

/// The load and unload entry points of a module whose object other modules of the library share:
/// `CLASS` is the object, and an `INTERFACE`.
#define PLEXION_SHARED_HOST_MODULE(NAME, INTERFACE, CLASS)                           \
  extern "C" QX_EXPORT IQXModule* IQXModule_##NAME##_ModuleLoad() {                  \
    return static_cast<INTERFACE*>(&plexion_host::SharedModule<CLASS>::Hold());      \
  }                                                                                  \
  extern "C" QX_EXPORT void IQXModule_##NAME##_ModuleUnload(IQXModule* /*module*/) { \
    plexion_host::SharedModule<CLASS>::LetGo();                                      \
  }

#endif  // HOST_BASE_SHAREDMODULE_H_
