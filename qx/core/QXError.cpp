// Named error values. Everything is copied into the value itself: one that the host keeps stays good
// when the module that made it is gone.

#include "qx/core/QXError.h"

QXError::QXError(const char* errorName, unsigned long errorCode)
    : code(static_cast<int32_t>(errorCode)) {
  strncpyTerm(name, errorName, sizeof(name));
}

QXError::QXError(const QXError& other) : code(other.code) {
  strncpyTerm(name, other.name, sizeof(name));
}

QXError& QXError::operator=(const QXError& other) {
  if (this == &other) return *this;
  code = other.code;
  strncpyTerm(name, other.name, sizeof(name));
  return *this;
}

void QXError::strncpyTerm(char* destination, const char* source, unsigned long size) {
  if (size == 0) return;
  unsigned long copied = 0;
  if (source != nullptr) {
    for (; copied < size - 1 && source[copied] != '\0'; ++copied) {
      destination[copied] = source[copied];
    }
  }
  destination[copied] = '\0';
}
