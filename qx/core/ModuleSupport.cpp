// What a shared library without the C start files still needs: registered destructors, and the few
// functions that compilers call by name. Part of the loadable module only; compiled freestanding,
// so that none of these loops is turned into a call of itself.

#include <stddef.h>
#include <stdint.h>

#define QX_HIDDEN __attribute__((visibility("hidden")))

namespace {

struct Registration {
  void (*destructor)(void*);
  void* object;
};

/// Objects with static storage and a destructor. Their number is fixed when the module is built:
/// seven error values a source file, so there is room for well over a hundred files. An object
/// beyond that is not destroyed.
constexpr unsigned kMaxRegistrations = 1024;
Registration registrations[kMaxRegistrations];
unsigned registered = 0;

}  // namespace

extern "C" {

/// Tells this library's registrations from others'; here there are no others.
QX_HIDDEN void* __dso_handle = nullptr;

/// Called by the constructors of static objects, which run on the thread that loads the library.
QX_HIDDEN int __cxa_atexit(void (*destructor)(void*), void* object, void*) {
  if (registered == kMaxRegistrations) return -1;
  registrations[registered++] = {destructor, object};
  return 0;
}

#if defined(__arm__)
/// The same, as the 32-bit ARM's conventions call it: object first.
QX_HIDDEN int __aeabi_atexit(void* object, void (*destructor)(void*), void* library) {
  return __cxa_atexit(destructor, object, library);
}

/// Called by that processor's division helpers when something is divided by 0.
QX_HIDDEN int raise(int) { __builtin_trap(); }
#endif

QX_HIDDEN void __cxa_pure_virtual() { __builtin_trap(); }

QX_HIDDEN int memcmp(const void* left, const void* right, size_t bytes) {
  const unsigned char* a = static_cast<const unsigned char*>(left);
  const unsigned char* b = static_cast<const unsigned char*>(right);
  for (size_t i = 0; i < bytes; ++i) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  return 0;
}

QX_HIDDEN int bcmp(const void* left, const void* right, size_t bytes) {
  return memcmp(left, right, bytes);
}

QX_HIDDEN void* memmove(void* destination, const void* source, size_t bytes) {
  unsigned char* to = static_cast<unsigned char*>(destination);
  const unsigned char* from = static_cast<const unsigned char*>(source);
  if (reinterpret_cast<uintptr_t>(to) <= reinterpret_cast<uintptr_t>(from)) {
    for (size_t i = 0; i < bytes; ++i) to[i] = from[i];
  } else {
    for (size_t i = bytes; i > 0; --i) to[i - 1] = from[i - 1];
  }
  return destination;
}

QX_HIDDEN size_t strlen(const char* text) {
  size_t length = 0;
  while (text[length] != '\0') ++length;
  return length;
}

}  // extern "C"

namespace {

/// Runs when the library is unloaded: the newest object goes first.
__attribute__((destructor)) void DestroyStaticObjects() {
  while (registered > 0) {
    const Registration& last = registrations[--registered];
    last.destructor(last.object);
  }
}

}  // namespace
