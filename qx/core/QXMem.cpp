// Tracked allocation: the operators behind QXMem.h. What they add to the kernel's blocks is a header
// of 8 bytes, so that the host can tell the families apart in a dump.

#include "qx/core/QXMem.h"

#include <stdint.h>

#include "qx/core/Check.h"
#include "qx/core/IQXKernel.h"

namespace {

constexpr unsigned long kHeaderBytes = 8;
constexpr unsigned long kFamilyWordOffset = 4;

void* AllocateBlock(unsigned long bytes, unsigned long family, const char* file, int line) {
  // Nothing is asked of the kernel for nothing, nor for more than a size can say.
  if (bytes == 0 || bytes > ~0UL - kHeaderBytes) return nullptr;
  char* block =
      static_cast<char*>(IQXKernel::GetKernel()->Allocate(bytes + kHeaderBytes, file, line));
  if (block == nullptr) return nullptr;
  QX_CHECK(reinterpret_cast<uintptr_t>(block) % 8 == 0, "a kernel whose blocks are aligned to 8");
  // The first four bytes stay as the kernel gave them.
  *reinterpret_cast<uint32_t*>(block + kFamilyWordOffset) = static_cast<uint32_t>(family);
  return block + kHeaderBytes;
}

void FreeBlock(void* pointer, const char* file, int line) {
  if (pointer == nullptr) return;
  IQXKernel::GetKernel()->Free(static_cast<char*>(pointer) - kHeaderBytes, file, line);
}

}  // namespace

void* operator new(size_t size, const char* file, int line,
                   QXMem_Selector_QX_NEW_DELETE*) noexcept {
  return AllocateBlock(size, 1, file, line);
}

void* operator new(size_t, unsigned long count, unsigned long elementSize, const char* file,
                   int line, QXMem_Selector_QX_VECTOR_NEW_DELETE*) noexcept {
  if (elementSize != 0 && count > ~0UL / elementSize) return nullptr;
  return AllocateBlock(count * elementSize, count, file, line);
}

void* operator new(size_t, unsigned long bytes, const char* file, int line,
                   QXMem_Selector_QX_MALLOC_FREE*) noexcept {
  return AllocateBlock(bytes, 0, file, line);
}

void operator delete(void* pointer, const char* file, int line,
                     QXMem_Selector_QX_NEW_DELETE*) noexcept {
  FreeBlock(pointer, file, line);
}

void operator delete(void* pointer, unsigned long, unsigned long, const char* file, int line,
                     QXMem_Selector_QX_VECTOR_NEW_DELETE*) noexcept {
  FreeBlock(pointer, file, line);
}

void operator delete(void* pointer, unsigned long, const char* file, int line,
                     QXMem_Selector_QX_MALLOC_FREE*) noexcept {
  FreeBlock(pointer, file, line);
}

void* operator new[](size_t, const char*, int, QXMem_Selector_QX_NEW_DELETE*) noexcept {
  return nullptr;
}

void* operator new[](size_t, unsigned long, unsigned long, const char*, int,
                     QXMem_Selector_QX_VECTOR_NEW_DELETE*) noexcept {
  return nullptr;
}

void* operator new[](size_t, unsigned long, const char*, int,
                     QXMem_Selector_QX_MALLOC_FREE*) noexcept {
  return nullptr;
}

void operator delete[](void*, const char*, int, QXMem_Selector_QX_NEW_DELETE*) noexcept {}

void operator delete[](void*, unsigned long, unsigned long, const char*, int,
                       QXMem_Selector_QX_VECTOR_NEW_DELETE*) noexcept {}

void operator delete[](void*, unsigned long, const char*, int,
                       QXMem_Selector_QX_MALLOC_FREE*) noexcept {}
