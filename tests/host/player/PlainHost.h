#ifndef TESTS_HOST_PLAYER_PLAINHOST_H_
#define TESTS_HOST_PLAYER_PLAINHOST_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "host/player/Engine.h"

namespace plexion_host::player {

/// A watchdog with a limit, as a window's.
class LimitedMemory final : public qx::plexion::MemoryWatchdog {
 public:
  explicit LimitedMemory(unsigned long limit) : limit_(limit) {}
  ~LimitedMemory() override { EXPECT_EQ(0u, used_) << "everything was given back"; }
  void* Alloc(unsigned long size, const char*, unsigned long) override {
    if (used_ + size > limit_) return nullptr;
    used_ += size;
    peak_ = std::max(peak_, used_);
    auto* block = static_cast<unsigned long*>(malloc(size + kHeader * sizeof(unsigned long)));
    *block = size;
    return block + kHeader;
  }
  void Free(void* p, const char*, unsigned long) override {
    unsigned long* block = static_cast<unsigned long*>(p) - kHeader;
    used_ -= *block;
    free(block);
  }
  unsigned long GetBytesUsed() override { return used_; }
  unsigned long GetBytesAvailable() override { return limit_ - used_; }
  unsigned long Peak() const { return peak_; }

 private:
  static constexpr size_t kHeader = 2;  // keeps the alignment of malloc

  const unsigned long limit_;
  unsigned long used_ = 0;
  unsigned long peak_ = 0;
};

/// A player that wants nothing and tells nobody.
class PlainHost final : public EngineHost {
 public:
  qx::plexion::MemoryWatchdog* Memory() override { return memory; }
  const PlayerSettings& Settings() override { return settings_; }
  bool Cancelled() override { return cancelled; }
  void ReportProgress(unsigned) override {}
  void RequestFrame() override {}
  void Complete() override {}
  void Fail(const EngineError&) override {}
  void Notify(qx::plexion::StageWindowStatus, const std::string&) override {}

  qx::plexion::MemoryWatchdog* memory = nullptr;
  bool cancelled = false;

 private:
  PlayerSettings settings_;
};

}  // namespace plexion_host::player

#endif  // TESTS_HOST_PLAYER_PLAINHOST_H_
