// The fixture of suites of the device itself.

#ifndef TESTS_SUPPORT_STORYTEST_H_
#define TESTS_SUPPORT_STORYTEST_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "sim/device/SimDevice.h"

namespace plexion_sim {

/// Base of the tests of the device itself. A story is written as
///
///   class KernelTest : public StoryTest {};
///   STORY(KernelTest, TimeJumpsToTheNextWakeUp) {
///     device->kernel.Sleep(kMillisecond);
///     ...
///   }
///
/// and runs as the simulated thread "host". Afterwards the device must have found nothing: no leak,
/// no deadlock, no use after destroy. A story that expects a finding takes it in Check.
///
/// PLEXION_SIM_SEED in the environment replaces the seed; a failed story prints its journal when
/// PLEXION_SIM_JOURNAL is set.
class StoryTest : public ::testing::Test {
 public:
  /// How the device is made; a suite may override it.
  virtual SimOptions Options() { return SimOptions(); }
  /// Before the story, outside the simulated threads: scripts, modules to remove.
  virtual void Prepare() {}
  /// On the thread "host".
  virtual void Tell() {}
  /// After the story: take expected findings, look at the journal.
  virtual void Check() {}

  void TestBody() override {
    SimOptions options = Options();
    const char* seed = std::getenv("PLEXION_SIM_SEED");
    if (seed != nullptr) options.seed = std::strtoull(seed, nullptr, 10);
    device = std::make_unique<SimDevice>(options);
    Prepare();
    device->Run([this] { Tell(); });
    device->Finish();
    Check();
    EXPECT_EQ(device->kernel.GetFindings().ToText(), "") << "seed " << options.seed;
    if (HasFailure() && std::getenv("PLEXION_SIM_JOURNAL") != nullptr) {
      std::printf("%s", device->kernel.GetJournal().ToText().c_str());
    }
    device.reset();
  }

  std::unique_ptr<SimDevice> device;

 protected:
  Faults& faults() { return device->kernel.GetFaults(); }
};

}  // namespace plexion_sim

#define STORY(fixture, name)                                                              \
  class fixture##_##name##_Story : public fixture {                                       \
   public:                                                                                \
    void Tell() override;                                                                 \
  };                                                                                      \
  [[maybe_unused]] static ::testing::TestInfo* const fixture##_##name##_registered =      \
      ::testing::RegisterTest(#fixture, #name, nullptr, nullptr, __FILE__, __LINE__,      \
                              []() -> fixture* { return new fixture##_##name##_Story; }); \
  void fixture##_##name##_Story::Tell()

#endif  // TESTS_SUPPORT_STORYTEST_H_
