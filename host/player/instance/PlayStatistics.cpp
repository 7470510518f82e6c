// Counts frames, and says so in a line.

#include "host/player/instance/PlayStatistics.h"

#include <stdio.h>

#include "host/base/Check.h"

namespace plexion_host::player {

namespace {

double Milliseconds(PlayStatistics::Time time) { return static_cast<double>(time) / 1e6; }

}  // namespace

void PlayStatistics::FrameDrawn(Time began, Time ended, bool late) {
  PLEXION_CHECK(ended >= began, "a frame is drawn on a clock that does not go back");
  if (drawn_ == 0) firstFrameAfter_ = ended - loadBegan_;
  ++drawn_;
  late_ += late ? 1 : 0;
  drawTime_ += ended - began;
  if (ended - began > longestDraw_) longestDraw_ = ended - began;
}

void PlayStatistics::StartSample(Time now) {
  sampleBegan_ = now;
  sampleDrawn_ = drawn_;
}

double PlayStatistics::TakeSample(Time now) {
  const Time span = now - sampleBegan_;
  const uint64_t frames = drawn_ - sampleDrawn_;
  StartSample(now);
  return span > 0 ? static_cast<double>(frames) * 1e9 / static_cast<double>(span) : 0;
}

std::string PlayStatistics::Describe() const {
  const double mean = drawn_ == 0 ? 0 : Milliseconds(drawTime_) / static_cast<double>(drawn_);
  char firstFrame[32] = "never";
  if (drawn_ > 0)
    snprintf(firstFrame, sizeof firstFrame, "%.1f ms", Milliseconds(firstFrameAfter_));
  char text[256];
  snprintf(text, sizeof text,
           "load %.1f ms, first frame %s, frames drawn %llu, unchanged %llu, skipped %llu, late "
           "%llu, draw mean %.2f ms, longest %.2f ms",
           Milliseconds(loadTook_), firstFrame, static_cast<unsigned long long>(drawn_),
           static_cast<unsigned long long>(unchanged_), static_cast<unsigned long long>(skipped_),
           static_cast<unsigned long long>(late_), mean, Milliseconds(longestDraw_));
  return text;
}

}  // namespace plexion_host::player
