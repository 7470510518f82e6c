// Where a failed check ends.

#include "qx/core/Check.h"

#include "qx/core/IQXKernel.h"

void QXCheck_Fail(const char* file, int line, const char* expected) {
  IQXKernel* const kernel = IQXKernel::GetKernel();
  if (kernel != nullptr) kernel->Printf(kQXCheckFailed, file, line, expected);
  __builtin_trap();
}
