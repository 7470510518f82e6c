// A module under test, by its name.

#ifndef KIT_CERTIFY_BENCH_MODULEUNDERTEST_H_
#define KIT_CERTIFY_BENCH_MODULEUNDERTEST_H_

#include <string>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "qx/core/IQXModule.h"

namespace plexion_certify {

/// Acquired, and not given back: the case's process ends with it. Ends the case when there is none.
template <typename Module>
Module& ModuleUnderTest(Case& c, const char* name) {
  LedgerKernel& kernel = c.GetBench().Ledger();
  c.Step(std::string("AcquireModule of ") + name);
  IQXModule* const module = kernel.AcquireModule(name);
  CERTIFY_REQUIRE(c, module != nullptr, std::string("the module ") + name, kernel.WhyNot(name));
  return *static_cast<Module*>(module);
}

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_BENCH_MODULEUNDERTEST_H_
