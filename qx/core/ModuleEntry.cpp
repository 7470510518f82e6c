// The kernel pointer of this module, and the entry point that the host hands it over by.

#include "qx/core/IQXKernel.h"

namespace {

// Written once, before any other entry point is used; read from any thread afterwards.
IQXKernel* kernelInstance = nullptr;

}  // namespace

IQXKernel* IQXKernel::GetKernel() { return kernelInstance; }

extern "C" void IQXModule_QXModule_PutKernel(IQXKernel* kernel) {
  // Unloading ends with a call with null, which must leave the kernel to whatever the module still
  // destroys when the process lets go of the library.
  if (kernelInstance != nullptr) return;
  kernelInstance = kernel;
}
