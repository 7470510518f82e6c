// Which one thing a wrong host does wrong.

#ifndef TESTS_KIT_CERTIFY_FAULT_H_
#define TESTS_KIT_CERTIFY_FAULT_H_

#include <cstdlib>
#include <cstring>

/// Whether this process is the wrong host called `name` (faults.txt lists them). A literal each time, so
/// that the answer is kept: locks are taken by the million.
#define FAULT(name)                                               \
  ([] {                                                           \
    static const bool is = [] {                                   \
      const char* const chosen = std::getenv("PLEXION_FAULT");    \
      return chosen != nullptr && std::strcmp(chosen, name) == 0; \
    }();                                                          \
    return is;                                                    \
  }())

#endif  // TESTS_KIT_CERTIFY_FAULT_H_
