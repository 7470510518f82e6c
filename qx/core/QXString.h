#ifndef QX_CORE_QXSTRING_H_
#define QX_CORE_QXSTRING_H_

/// Text kept as 16-bit code units (UTF-16) with a cached UTF-8 form.
///
/// Crosses module boundaries by reference: its layout (virtual table, then the fields in the order
/// below) and its allocation (raw-buffer family of QXMem.h) are part of the binary contract.
///
/// Errors   no operation reports one. Text that cannot be allocated is dropped: an assignment
///          leaves the string empty, an append leaves it as it was.
/// Thread   one at a time. Reading counts as writing: Utf8 fills the cache.
class QXString {
 public:
  QXString();
  explicit QXString(const char* utf8Text);
  QXString(const QXString& other);
  QXString& operator=(const QXString& other);
  virtual ~QXString();

  /// Replaces the text; null and "" empty the string and free its storage.
  void Assign(const char* utf8Text);
  void Assign(const QXString& other);
  void Assign16(const unsigned short* units, unsigned long count);

  /// Appends; null and "" change nothing.
  void Append(const char* utf8Text);
  void Append(const QXString& other);
  void Append16(const unsigned short* units, unsigned long count);

  /// Sets the length to zero and keeps the storage.
  void Clear();

  bool IsEmpty() const { return length == 0; }
  /// 16-bit units, terminator excluded.
  unsigned Length() const { return length; }
  /// Zero-terminated; never null. Valid until the next change.
  const unsigned short* Units() const { return data != nullptr ? data : &emptyText; }
  /// Zero-terminated UTF-8; never null ("" for an empty string, and when the cache cannot be
  /// allocated). Valid until the next change. Unpaired high surrogates read as U+FFFD.
  const char* Utf8() const;

  bool Equals(const QXString& other) const;

  /// Decodes the UTF-8 sequence at `input` into one unit, or a surrogate pair, and returns the
  /// bytes that it took. The lead byte alone decides the length; continuation bytes are not checked
  /// and a stray one passes as its own value, so Latin-1 text survives. What is no code point gives
  /// U+FFFD. `*second` is 0 when one unit is enough.
  /// Source: conversion tables of the Unicode Consortium's reference converter.
  unsigned _UTF8toU16Char(const unsigned char* input, unsigned short* first,
                          unsigned short* second) const;

  /// Builds the UTF-8 form of `units` (zero-terminated) and keeps it as this string's `utf8`, in
  /// place of the earlier one. Null and empty text leave no UTF-8 form.
  void CopyUTF16to8(const unsigned short* units) const;

  // Fields are public for inspection only; change the text through the operations.
  mutable char* utf8;        ///< cached UTF-8 form or null; owned
  unsigned short* data;      ///< zero-terminated text, or null when empty; owned
  unsigned length;           ///< units in use, terminator excluded
  unsigned capacity;         ///< units allocated in `data`, 0 when it is null
  unsigned short emptyText;  ///< always 0; read as the text when `data` is null

 private:
  void Forget();
  void FreeStorage();
};

#endif  // QX_CORE_QXSTRING_H_
