// Our answer to which vectors the processor has, beside that of Highway's own library.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <hwy/targets.h>

namespace plexion_host {
namespace {

constexpr int64_t kKnown = HWY_SSSE3 | HWY_SSE4 | HWY_AVX2 | HWY_AVX3;

TEST(VectorTargetsTest, AreThoseThatHighwayFinds) {
  void* const library = dlopen("libhwy.so.1", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) GTEST_SKIP() << dlerror();
  using Find = int64_t (*)();
  const auto find = reinterpret_cast<Find>(dlsym(library, "_ZN3hwy16SupportedTargetsEv"));
  ASSERT_NE(nullptr, find) << "not where we look for it any more";
  ASSERT_NE(find, &hwy::SupportedTargets) << "it must not be the one that is looked at";
  EXPECT_EQ(find() & kKnown, hwy::SupportedTargets() & kKnown);
  EXPECT_EQ(0, hwy::SupportedTargets() & ~(kKnown | HWY_EMU128 | HWY_SCALAR))
      << "more than was looked for";
}

TEST(VectorTargetsTest, OneChoiceHoldsForAll) {
  EXPECT_EQ(&hwy::GetChosenTarget(), &hwy::GetChosenTarget());
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
  EXPECT_TRUE(hwy::GetChosenTarget().IsInitialized());
}

}  // namespace
}  // namespace plexion_host
