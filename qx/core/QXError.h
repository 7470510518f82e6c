#ifndef QX_CORE_QXERROR_H_
#define QX_CORE_QXERROR_H_

#include <stdint.h>

/// A named error value, passed and returned by value. Two values are the same error when their
/// codes are equal; the name is for printing.
class QXError {
 public:
  /// Keeps the first 31 bytes of `name`.
  QXError(const char* name, unsigned long code);
  QXError(const QXError& other);
  QXError& operator=(const QXError& other);
  virtual ~QXError() {}

  bool operator==(const QXError& other) const { return code == other.code; }
  bool operator!=(const QXError& other) const { return code != other.code; }

  /// Copies up to `size` - 1 characters and always terminates; a size of 0 writes nothing.
  static void strncpyTerm(char* destination, const char* source, unsigned long size);

  char name[32];
  int32_t code;
};

// One set a translation unit, so that none depends on another's static initialisation.
static const QXError QXError_OK("QXError_OK", 0);
static const QXError QXError_NoMemory("QXError_NoMemory", 1);
static const QXError QXError_Timeout("QXError_Timeout", 2);
static const QXError QXError_Generic("QXError_Generic", 3);
static const QXError QXError_NotFound("QXError_NotFound", 4);
static const QXError QXError_Usage("QXError_Usage", 5);
static const QXError QXError_InvalidParameters("QXError_InvalidParameters", 6);

#endif  // QX_CORE_QXERROR_H_
