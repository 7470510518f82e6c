// Checks of what headers state and code relies on. A broken one is a mistake in a program, never
// something that input can cause; going on from it would cost more than ending here.

#ifndef QX_CORE_CHECK_H_
#define QX_CORE_CHECK_H_

/// What a failed check prints through the kernel, before it traps: file, line, what should have
/// held. The simulated device knows it by this text and reports a finding.
constexpr char kQXCheckFailed[] = "RED ALERT: check failed at %s:%d: %s\n";

/// Prints and traps. Does not return.
[[noreturn]] void QXCheck_Fail(const char* file, int line, const char* expected);

/// Ends the process unless `condition` holds; `expected` says in words what should have held.
///
/// A release host that would rather go on builds with -DPLEXION_CHECKS=OFF: the condition is then
/// compiled, and not evaluated.
#if defined(QX_NO_CHECKS)
#define QX_CHECK(condition, expected) static_cast<void>(sizeof((condition) ? 1 : 0))
#else
#define QX_CHECK(condition, expected) \
  ((condition) ? static_cast<void>(0) : QXCheck_Fail(__FILE__, __LINE__, expected))
#endif

#endif  // QX_CORE_CHECK_H_
