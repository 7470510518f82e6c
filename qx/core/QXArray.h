#ifndef QX_CORE_QXARRAY_H_
#define QX_CORE_QXARRAY_H_

#include "qx/core/Check.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/QXMem.h"

/// A growable array that never gives storage back before it is destroyed.
///
/// Crosses module boundaries by reference (a host's StageWindowSet), so layout and growth are part
/// of the binary contract. Elements are not constructed or destroyed one by one: T is a plain value
/// or a pointer. What pointers point to is the owner's business.
///
/// Errors   growth that cannot be allocated leaves the array as it was.
/// Thread   one at a time.
template <typename T>
class QXArray {
 public:
  explicit QXArray(bool movable = true)
      : data(nullptr), count(0), capacity(0), bitwiseMovable(movable) {}
  QXArray(const QXArray&) = delete;
  QXArray& operator=(const QXArray&) = delete;
  virtual ~QXArray() {
    if (data != nullptr) QXMem_Free(data, capacity * sizeof(T));
  }

  unsigned Count() const { return count; }
  bool IsEmpty() const { return count == 0; }
  /// `index` must be below Count().
  T& operator[](unsigned long index) {
    QX_CHECK(index < count, "an index below the count");
    return data[index];
  }
  const T& operator[](unsigned long index) const {
    QX_CHECK(index < count, "an index below the count");
    return data[index];
  }

  /// Makes room for `room` elements at once and leaves the array empty.
  void Reserve(unsigned long room) {
    SetSize(room);
    SetSize(0);
  }

  /// Sets the element count. Growing beyond the capacity clears every new slot; growing within it
  /// uncovers slots as they are. The capacity grows to the smallest multiple of twice the old one
  /// that exceeds `newCount` (from 8, a size of exactly 16 makes room for 32: hosts share these arrays, and see it).
  void SetSize(unsigned long newCount) {
    if (capacity < newCount && !Grow(newCount)) return;
    count = static_cast<unsigned>(newCount);
  }

  /// Inserts before `index`; an index beyond the end stretches the array to reach it.
  void InsertAt(unsigned long index, const T& element) {
    const T value = element;  // `element` may be one of ours, and growth moves those
    const unsigned long wanted = index >= count ? index + 1 : count + 1UL;
    const unsigned long moved = index >= count ? 0 : count - index;
    SetSize(wanted);
    if (count != wanted) return;
    if (moved > 0) {
      if (bitwiseMovable) {
        Kernel()->MemMove(data + index + 1, data + index, moved * sizeof(T));
      } else {
        for (unsigned long i = index + moved; i > index; --i) data[i] = data[i - 1];
      }
      ClearSlots(index, 1);
    }
    data[index] = value;
  }

  /// Appends at the end.
  /// Returns  false when there was no room to be had.
  bool Append(const T& element) {
    const unsigned long before = count;
    InsertAt(before, element);
    return count != before;
  }

  /// Removes one element. An index at or beyond the last one removes the last, which hosts that count
  /// from 1 rely on. The array must not be empty.
  void RemoveAt(unsigned long index) {
    QX_CHECK(count > 0, "an array with something to remove");
    const unsigned long last = count - 1UL;
    if (index < last) {
      if (bitwiseMovable) {
        Kernel()->MemMove(data + index, data + index + 1, (last - index) * sizeof(T));
      } else {
        for (unsigned long i = index; i < last; ++i) data[i] = data[i + 1];
      }
    }
    ClearSlots(last, 1);
    count = static_cast<unsigned>(last);
  }

  // Fields are public for inspection only.
  T* data;              ///< elements, or null; owned
  unsigned count;       ///< elements in use
  unsigned capacity;    ///< elements allocated
  bool bitwiseMovable;  ///< move with MemCopy/MemMove and clear with MemSet, else one by one

 private:
  /// What the 32-bit fields can count and a block can hold.
  static constexpr unsigned long kMaxRoom = 0xFFFFFFFFUL;
  static_assert(sizeof(T) < 0x10000, "so that a byte count never wraps");

  static IQXKernel* Kernel() { return IQXKernel::GetKernel(); }

  void ClearSlots(unsigned long first, unsigned long number) {
    if (bitwiseMovable) {
      Kernel()->MemSet(static_cast<void*>(data + first), 0, number * sizeof(T));
    } else {
      for (unsigned long i = first; i < first + number; ++i) data[i] = T();
    }
  }

  bool Grow(unsigned long needed) {
    const unsigned long room = QXMem_GrownRoom(capacity, needed);
    QX_CHECK(room >= needed, "growth to what is needed at least");
    if (room > kMaxRoom) return false;
    T* block = static_cast<T*>(QXMem_Malloc(room * sizeof(T)));
    if (block == nullptr) return false;
    T* old = data;
    const unsigned long oldCapacity = capacity;
    data = block;
    if (bitwiseMovable) {
      if (old != nullptr) {
        Kernel()->MemCopy(static_cast<void*>(block), old, oldCapacity * sizeof(T));
      }
      ClearSlots(count, room - count);
    } else {
      ClearSlots(0, room);
      for (unsigned long i = 0; i < count; ++i) block[i] = old[i];
    }
    if (old != nullptr) QXMem_Free(old, oldCapacity * sizeof(T));
    capacity = static_cast<unsigned>(room);
    return true;
  }
};

#endif  // QX_CORE_QXARRAY_H_
