// Conversions and storage of QXString. Text comes from operators, files and networks, so no byte
// sequence may do more than give odd characters.

#include "qx/core/QXString.h"

#include <stdint.h>

#include "qx/core/Check.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/QXMem.h"

namespace {

constexpr unsigned kReplacement = 0xFFFD;
/// Units that a built string may leave unused before it moves to a buffer of its exact size.
constexpr unsigned kUnusedUnitsKept = 128;
/// Lengths are 32-bit; what is longer counts as text that cannot be allocated.
constexpr unsigned long kMaxUnits = 0x7FFFFFFF;

IQXKernel* Kernel() { return IQXKernel::GetKernel(); }

bool IsHighSurrogate(unsigned unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(unsigned unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

unsigned SequenceLength(unsigned char lead) {
  if (lead < 0xC0) return 1;
  if (lead < 0xE0) return 2;
  if (lead < 0xF0) return 3;
  if (lead < 0xF8) return 4;
  if (lead < 0xFC) return 5;
  return 6;
}

unsigned short* NewUnits(unsigned long units) {
  return static_cast<unsigned short*>(QXMem_Malloc(units * sizeof(unsigned short)));
}

void FreeUnits(unsigned short* units, unsigned long count) {
  QXMem_Free(units, count * sizeof(unsigned short));
}

void CopyUnits(unsigned short* destination, const unsigned short* source, unsigned long count) {
  Kernel()->MemCopy(destination, source, count * sizeof(unsigned short));
}

/// Decodes `bytes` of text into `units`, which has room for one unit a byte; a null `units` counts
/// only. A sequence that would run past the end is left out. Returns  the number of units.
unsigned Decode(const QXString& decoder, const unsigned char* text, unsigned long bytes,
                unsigned short* units) {
  unsigned count = 0;
  unsigned long at = 0;
  for (; at < bytes && text[at] < 0xC0; ++at) {
    if (units != nullptr) units[count] = text[at];
    ++count;
  }
  while (at < bytes && SequenceLength(text[at]) <= bytes - at) {
    unsigned short first = 0;
    unsigned short second = 0;
    at += decoder._UTF8toU16Char(text + at, &first, &second);
    if (units != nullptr) units[count] = first;
    ++count;
    if (second == 0) continue;
    if (units != nullptr) units[count] = second;
    ++count;
  }
  return count;
}

/// The code point at `units[*at]`, which is moved past it. An unpaired high surrogate reads as
/// U+FFFD, an unpaired low one as itself.
unsigned NextCodePoint(const unsigned short* units, unsigned long count, unsigned long* at) {
  const unsigned unit = units[(*at)++];
  if (!IsHighSurrogate(unit)) return unit;
  if (*at >= count || !IsLowSurrogate(units[*at])) return kReplacement;
  const unsigned low = units[(*at)++];
  return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
}

/// Writes 1 to 4 bytes and returns the place behind them.
char* EncodeCodePoint(unsigned point, char* out) {
  const unsigned extra = point < 0x80 ? 0 : point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
  static const unsigned char kLeadMarks[] = {0, 0xC0, 0xE0, 0xF0};
  *out++ = static_cast<char>(kLeadMarks[extra] | (point >> (6 * extra)));
  for (unsigned left = extra; left > 0; --left) {
    *out++ = static_cast<char>(0x80 | ((point >> (6 * (left - 1))) & 0x3F));
  }
  return out;
}

}  // namespace

QXString::QXString() : utf8(nullptr), data(nullptr), length(0), capacity(0), emptyText(0) {}

QXString::QXString(const char* utf8Text) : QXString() { Assign(utf8Text); }

QXString::QXString(const QXString& other) : QXString() { Assign(other); }

QXString& QXString::operator=(const QXString& other) {
  Assign(other);
  return *this;
}

QXString::~QXString() {
  FreeStorage();
  Forget();
}

void QXString::Forget() {
  if (utf8 == nullptr) return;
  // The byte count is for the reader of the call: the family's release takes it and ignores it.
  QXMem_Free(utf8, 0);
  utf8 = nullptr;
}

void QXString::FreeStorage() {
  if (data != nullptr) FreeUnits(data, capacity);
  data = nullptr;
  length = 0;
  capacity = 0;
}

void QXString::Assign(const char* utf8Text) {
  // Built aside first: the text may be this string's own UTF-8 form.
  unsigned short* units = nullptr;
  unsigned built = 0;
  unsigned long room = 0;
  const unsigned long bytes = utf8Text != nullptr ? Kernel()->StrLen(utf8Text) : 0;
  if (bytes > 0 && bytes < kMaxUnits) {
    room = bytes + 1;
    units = NewUnits(room);
  }
  if (units != nullptr) {
    built = Decode(*this, reinterpret_cast<const unsigned char*>(utf8Text), bytes, units);
    QX_CHECK(built < room, "no more units than bytes");
    units[built] = 0;
    if (built == 0) {
      FreeUnits(units, room);
      units = nullptr;
    } else if (room - (built + 1) > kUnusedUnitsKept) {
      unsigned short* exact = NewUnits(built + 1UL);
      if (exact != nullptr) {
        CopyUnits(exact, units, built + 1UL);
        FreeUnits(units, room);
        units = exact;
        room = built + 1UL;
      }
    }
  }
  FreeStorage();
  Forget();
  if (units == nullptr) return;
  data = units;
  length = built;
  capacity = static_cast<unsigned>(room);
}

void QXString::Assign(const QXString& other) {
  if (this == &other) return;
  Assign16(other.data, other.length);
}

void QXString::Assign16(const unsigned short* units, unsigned long count) {
  unsigned short* copy = nullptr;
  if (units != nullptr && count > 0 && count < kMaxUnits) {
    copy = NewUnits(count + 1);
    if (copy != nullptr) {
      CopyUnits(copy, units, count);
      copy[count] = 0;
    }
  }
  FreeStorage();
  Forget();
  if (copy == nullptr) return;
  data = copy;
  length = static_cast<unsigned>(count);
  capacity = length + 1;
}

void QXString::Append(const char* utf8Text) {
  const unsigned long bytes = utf8Text != nullptr ? Kernel()->StrLen(utf8Text) : 0;
  if (bytes == 0 || bytes >= kMaxUnits) return;
  const unsigned char* text = reinterpret_cast<const unsigned char*>(utf8Text);
  const unsigned added = Decode(*this, text, bytes, nullptr);
  if (added == 0) return;
  unsigned short* units = NewUnits(added);
  if (units == nullptr) return;
  Decode(*this, text, bytes, units);
  Append16(units, added);
  FreeUnits(units, added);
}

void QXString::Append(const QXString& other) { Append16(other.data, other.length); }

void QXString::Append16(const unsigned short* units, unsigned long count) {
  if (units == nullptr || count == 0 || count >= kMaxUnits - length) return;
  unsigned short* old = nullptr;
  const unsigned long oldCapacity = capacity;
  const unsigned long needed = length + 1UL + count;
  if (needed > capacity) {
    const unsigned long room = QXMem_GrownRoom(capacity, needed);
    unsigned short* grown = room <= 0xFFFFFFFFUL ? NewUnits(room) : nullptr;
    if (grown == nullptr) return;
    if (data != nullptr) CopyUnits(grown, data, length + 1UL);
    old = data;
    data = grown;
    capacity = static_cast<unsigned>(room);
  }
  CopyUnits(data + length, units, count);
  length += static_cast<unsigned>(count);
  QX_CHECK(length < capacity, "room for the terminator");
  data[length] = 0;
  // Last, since `units` may lie in it.
  if (old != nullptr) FreeUnits(old, oldCapacity);
  Forget();
}

void QXString::Clear() {
  length = 0;
  if (data != nullptr) data[0] = 0;
  Forget();
}

const char* QXString::Utf8() const {
  if (utf8 == nullptr) CopyUTF16to8(data);
  return utf8 != nullptr ? utf8 : "";
}

bool QXString::Equals(const QXString& other) const {
  if (length != other.length) return false;
  for (unsigned i = 0; i < length; ++i) {
    if (data[i] != other.data[i]) return false;
  }
  return true;
}

unsigned QXString::_UTF8toU16Char(const unsigned char* input, unsigned short* first,
                                  unsigned short* second) const {
  // What the marks of lead and continuation bytes add up to, for lengths 1 to 6.
  static const uint32_t kOffsets[] = {0x00000000, 0x00003080, 0x000E2080,
                                      0x03C82080, 0xFA082080, 0x82082080};
  const unsigned bytes = SequenceLength(input[0]);
  uint32_t value = input[0];
  for (unsigned i = 1; i < bytes; ++i) value = (value << 6) + input[i];
  value -= kOffsets[bytes - 1];

  *second = 0;
  if (value < 0x10000) {
    const bool surrogate = IsHighSurrogate(value) || IsLowSurrogate(value);
    *first = static_cast<unsigned short>(surrogate ? kReplacement : value);
  } else if (value <= 0x10FFFF) {
    *first = static_cast<unsigned short>(0xD800 + ((value - 0x10000) >> 10));
    *second = static_cast<unsigned short>(0xDC00 + ((value - 0x10000) & 0x3FF));
  } else {
    *first = kReplacement;
  }
  return bytes;
}

void QXString::CopyUTF16to8(const unsigned short* units) const {
  char* made = nullptr;
  const unsigned long count = units != nullptr ? Kernel()->StrLen16(units) : 0;
  if (count > 0) {
    // An upper bound: a surrogate pair counts as six bytes and takes four.
    unsigned long bytes = 1;
    for (unsigned long i = 0; i < count; ++i) {
      bytes += units[i] <= 0x7F ? 1UL : units[i] <= 0x7FF ? 2UL : 3UL;
    }
    made = static_cast<char*>(QXMem_Malloc(bytes));
    if (made == nullptr) return;
    char* out = made;
    for (unsigned long at = 0; at < count;) {
      out = EncodeCodePoint(NextCodePoint(units, count, &at), out);
    }
    QX_CHECK(out < made + bytes, "no more bytes than were reckoned");
    *out = '\0';
  }
  if (utf8 != nullptr) QXMem_Free(utf8, 0);
  utf8 = made;
}
