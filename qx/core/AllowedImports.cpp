// All that the loadable module may import, as a library for one trial link: whatever else the
// module refers to is then an undefined symbol, and the build stops. Never loaded, never shipped.

#include <stddef.h>

#include <new>

extern "C" {
void* memcpy(void* destination, const void*, size_t) { return destination; }
void* memset(void* destination, int, size_t) { return destination; }
void* memmove(void* destination, const void*, size_t) { return destination; }
}

void* operator new(size_t) { __builtin_trap(); }
void* operator new[](size_t) { __builtin_trap(); }
void* operator new(size_t, const std::nothrow_t&) noexcept { return nullptr; }
void* operator new[](size_t, const std::nothrow_t&) noexcept { return nullptr; }

void operator delete(void*) noexcept {}
void operator delete[](void*) noexcept {}
void operator delete(void*, size_t) noexcept {}
void operator delete[](void*, size_t) noexcept {}
void operator delete(void*, const std::nothrow_t&) noexcept {}
void operator delete[](void*, const std::nothrow_t&) noexcept {}
