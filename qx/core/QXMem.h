#ifndef QX_CORE_QXMEM_H_
#define QX_CORE_QXMEM_H_

#include <stddef.h>

/// Tracked allocation: memory from the host kernel, so that the host can account for it.
///
/// Three families, told apart by the type of the last argument, which is always a null pointer:
///   QX_NEW_DELETE         one object
///   QX_VECTOR_NEW_DELETE  `count` elements of `elementSize` bytes
///   QX_MALLOC_FREE        `bytes` raw bytes
/// Each block is preceded by 8 bytes inside the kernel's block: 4 that are left alone and a family
/// word (1, the element count, 0). So memory handed out is aligned to 8 bytes, no more: a type made
/// with these operators must not ask for a higher alignment.
///
/// Returns  null when nothing is asked for (then the kernel is not called) or the kernel has none.
///          All are noexcept: a new-expression whose operator returns null yields null and runs no
///          constructor.
/// Errors   none are printed or thrown. Releasing null does nothing.
/// Thread   any; there is no state beyond the kernel's.
class QXMem_Selector_QX_NEW_DELETE;
class QXMem_Selector_QX_VECTOR_NEW_DELETE;
class QXMem_Selector_QX_MALLOC_FREE;

#define QX_NEW_DELETE static_cast<QXMem_Selector_QX_NEW_DELETE*>(nullptr)
#define QX_VECTOR_NEW_DELETE static_cast<QXMem_Selector_QX_VECTOR_NEW_DELETE*>(nullptr)
#define QX_MALLOC_FREE static_cast<QXMem_Selector_QX_MALLOC_FREE*>(nullptr)

void* operator new(size_t size, const char* file, int line,
                   QXMem_Selector_QX_NEW_DELETE* selector) noexcept;
void* operator new(size_t compilerSize, unsigned long count, unsigned long elementSize,
                   const char* file, int line,
                   QXMem_Selector_QX_VECTOR_NEW_DELETE* selector) noexcept;
void* operator new(size_t compilerSize, unsigned long bytes, const char* file, int line,
                   QXMem_Selector_QX_MALLOC_FREE* selector) noexcept;

void operator delete(void* pointer, const char* file, int line,
                     QXMem_Selector_QX_NEW_DELETE* selector) noexcept;
void operator delete(void* pointer, unsigned long count, unsigned long elementSize,
                     const char* file, int line,
                     QXMem_Selector_QX_VECTOR_NEW_DELETE* selector) noexcept;
void operator delete(void* pointer, unsigned long bytes, const char* file, int line,
                     QXMem_Selector_QX_MALLOC_FREE* selector) noexcept;

// The array spellings are inert on purpose: new[] answers null without asking the kernel, delete[]
// does nothing. Arrays are made with the vector family above.
void* operator new[](size_t size, const char* file, int line,
                     QXMem_Selector_QX_NEW_DELETE* selector) noexcept;
void* operator new[](size_t compilerSize, unsigned long count, unsigned long elementSize,
                     const char* file, int line,
                     QXMem_Selector_QX_VECTOR_NEW_DELETE* selector) noexcept;
void* operator new[](size_t compilerSize, unsigned long bytes, const char* file, int line,
                     QXMem_Selector_QX_MALLOC_FREE* selector) noexcept;
void operator delete[](void* pointer, const char* file, int line,
                       QXMem_Selector_QX_NEW_DELETE* selector) noexcept;
void operator delete[](void* pointer, unsigned long count, unsigned long elementSize,
                       const char* file, int line,
                       QXMem_Selector_QX_VECTOR_NEW_DELETE* selector) noexcept;
void operator delete[](void* pointer, unsigned long bytes, const char* file, int line,
                       QXMem_Selector_QX_MALLOC_FREE* selector) noexcept;

/// `count` elements of `elementSize` bytes, uninitialised.
inline void* QXMem_NewVector(unsigned long count, unsigned long elementSize) {
  return ::operator new(0, count, elementSize, nullptr, 0, QX_VECTOR_NEW_DELETE);
}
inline void QXMem_DeleteVector(void* pointer, unsigned long count, unsigned long elementSize) {
  ::operator delete(pointer, count, elementSize, nullptr, 0, QX_VECTOR_NEW_DELETE);
}

/// `bytes` raw bytes, uninitialised.
inline void* QXMem_Malloc(unsigned long bytes) {
  return ::operator new(0, bytes, nullptr, 0, QX_MALLOC_FREE);
}
inline void QXMem_Free(void* pointer, unsigned long bytes) {
  ::operator delete(pointer, bytes, nullptr, 0, QX_MALLOC_FREE);
}

/// The elements that a growable buffer makes room for when `room` are too few for `needed`: as many
/// as are needed at first, later the smallest multiple of twice the old room that exceeds `needed`.
inline unsigned long QXMem_GrownRoom(unsigned long room, unsigned long needed) {
  const unsigned long doubled = 2 * room;
  return room == 0 ? needed : doubled * (1 + needed / doubled);
}

/// Destroys and releases one object made with QX_NEW_DELETE; null does nothing.
///
/// A T with a virtual destructor may be a base: the destructor of the object's own class runs. The
/// address released is `object` itself, so T must be the class at offset 0 of what was allocated.
template <typename T>
void QXTypes_ScalarDelete(T* object, const char* file, int line) {
  if (object == nullptr) return;
  object->~T();
  ::operator delete(static_cast<void*>(object), file, line, QX_NEW_DELETE);
}

#endif  // QX_CORE_QXMEM_H_
