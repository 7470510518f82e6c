#ifndef TESTS_HOST_KERNEL_MODULES_COUNTINGMODULE_H_
#define TESTS_HOST_KERNEL_MODULES_COUNTINGMODULE_H_

#include "qx/core/IQXModule.h"

/// A module of the tests: tells who it is, and how often its library's objects came and went since
/// the library was loaded.
class CountingModule : public IQXModule {
 public:
  virtual const char* GetName() = 0;
  virtual int GetLoads() = 0;
  virtual int GetUnloads() = 0;
  /// The kernel that the library was given before its object was made.
  virtual void* GetKernelAtLoad() = 0;
};

#endif  // TESTS_HOST_KERNEL_MODULES_COUNTINGMODULE_H_
