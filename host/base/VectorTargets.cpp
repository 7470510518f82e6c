// Which vectors this processor has, for Highway's choice among the copies of a row's loop.
//
// These are the two operations that Highway's headers ask its library for. The library itself measures the
// processor's clock when it is loaded, for 3 ms of every start, so it is not linked where we can answer.

#include <cpuid.h>
#include <hwy/targets.h>

namespace hwy {

namespace {

constexpr unsigned kHalfFloats = 1u << 29;        // CPUID 1, ECX: F16C
constexpr unsigned kCountLeadingZeros = 1u << 5;  // CPUID 0x80000001, ECX: LZCNT

bool HasAll(unsigned leaf, unsigned ecxBits) {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  return __get_cpuid(leaf, &a, &b, &c, &d) != 0 && (c & ecxBits) == ecxBits;
}

/// Each is only what the compiler may use in a copy for it, so that no copy has an instruction that the
/// processor lacks. What the system does not keep for a thread the compiler's runtime leaves out.
int64_t Find() {
  __builtin_cpu_init();
  int64_t targets = HWY_EMU128 | HWY_SCALAR;
  if (__builtin_cpu_supports("ssse3") == 0) return targets;
  targets |= HWY_SSSE3;
  if (__builtin_cpu_supports("sse4.1") == 0 || __builtin_cpu_supports("sse4.2") == 0 ||
      __builtin_cpu_supports("pclmul") == 0 || __builtin_cpu_supports("aes") == 0) {
    return targets;
  }
  targets |= HWY_SSE4;
  if (__builtin_cpu_supports("avx") == 0 || __builtin_cpu_supports("avx2") == 0 ||
      __builtin_cpu_supports("fma") == 0 || __builtin_cpu_supports("bmi") == 0 ||
      __builtin_cpu_supports("bmi2") == 0 || !HasAll(1, kHalfFloats) ||
      !HasAll(0x80000001u, kCountLeadingZeros)) {
    return targets;
  }
  targets |= HWY_AVX2;
  if (__builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
      __builtin_cpu_supports("avx512dq") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
      __builtin_cpu_supports("avx512cd") != 0) {
    targets |= HWY_AVX3;
  }
  return targets;
}

}  // namespace

int64_t SupportedTargets() {
  static const int64_t targets = Find();
  return targets;
}

ChosenTarget& GetChosenTarget() {
  static ChosenTarget chosen;
  return chosen;
}

}  // namespace hwy
