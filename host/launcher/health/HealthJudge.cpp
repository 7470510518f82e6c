// Whether what is presented says that the display lives.

#include "host/launcher/health/HealthJudge.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/launcher/programme/document/ContentKinds.h"

namespace plexion_host {
namespace {

/// A movie that has changed this often moves; one that is a still picture never does.
constexpr uint64_t kMovingFrames = 10;

const char* const kVideos[] = {".mp4", ".m4v",  ".mkv", ".webm", ".mov", ".avi", ".ts",   ".m2ts",
                               ".mpg", ".mpeg", ".ogv", ".wmv",  ".flv", ".3gp", ".m3u8", ".mpd"};
const char* const kMovies[] = {".mvx", ".json", ".lottie", ".gif"};

}  // namespace

Motion MotionOf(const std::string& content) {
  if (content.compare(0, 7, "rtsp://") == 0) return Motion::kVideo;
  const std::string ending = ExtensionOf(content);
  const auto is = [&](const char* one) { return ending == one; };
  if (std::any_of(std::begin(kVideos), std::end(kVideos), is)) return Motion::kVideo;
  if (std::any_of(std::begin(kMovies), std::end(kMovies), is)) return Motion::kMovie;
  return Motion::kNone;
}

HealthJudge::Verdict HealthJudge::Judge(const Sample& sample) {
  PLEXION_CHECK(sample.nowMs >= presentedMs_, "samples come in the order of their times");
  Verdict verdict;
  verdict.windows = sample.windows;
  std::set<unsigned> there;
  for (WindowHealth& window : verdict.windows) {
    // What is paused or hidden has a right to stand still.
    if (!window.plays || !window.visible) continue;
    there.insert(window.number);
    Look(window, sample.nowMs, verdict);
  }
  // Forgotten at once: a number that plays again begins anew.
  for (auto place = seen_.begin(); place != seen_.end();) {
    place = there.count(place->first) == 0 ? seen_.erase(place) : std::next(place);
  }
  if (presentedMs_ < 0 || sample.presented != presented_) {
    presented_ = sample.presented;
    presentedMs_ = sample.nowMs;
  }
  // Nothing since the last look: a still picture needs no frame, so the display is asked for one,
  // and only its silence then counts.
  verdict.wantsFrame = sample.nowMs > presentedMs_;
  if (sample.nowMs - presentedMs_ >= kSilenceMs) {
    verdict.reason = "the display has presented nothing for " +
                     std::to_string((sample.nowMs - presentedMs_) / 1000) + " s";
  } else if (sample.turnAtMs >= 0 && sample.nowMs - sample.turnAtMs >= kSilenceMs) {
    verdict.reason = "the programme has not been looked at for " +
                     std::to_string((sample.nowMs - sample.turnAtMs) / 1000) + " s";
  } else if (AllVideosStand(sample)) {
    verdict.reason = "every video has stood still for " +
                     std::to_string(2 * frozenAfterMs_ / 1000) + " s while it says that it plays";
  }
  verdict.alive = verdict.reason.empty();
  return verdict;
}

void HealthJudge::Look(WindowHealth& window, int64_t nowMs, Verdict& verdict) {
  const auto [place, isNew] = seen_.try_emplace(window.number);
  Seen& seen = place->second;
  if (isNew || seen.content != window.content) {
    // Another content in the same window: its time begins now.
    seen = {window.content, window.picture, nowMs, window.frames, nowMs, false};
  }
  if (seen.frames != window.frames) {
    seen.frames = window.frames;
    seen.drawnMs = nowMs;
  }
  // Pictures are compared by a hash, so frames that come and all look alike count as standing
  // still.
  if (seen.picture != window.picture) {
    if (seen.told) {
      verdict.changes.push_back(
          {window.number, window.content, false, true, nowMs - seen.changedMs});
    }
    seen.picture = window.picture;
    seen.changedMs = nowMs;
    seen.told = false;
  }
  const Motion motion = MotionOf(window.content);
  // A movie may be one picture; it owes movement only after it has moved.
  const bool moves =
      motion == Motion::kVideo || (motion == Motion::kMovie && window.frames >= kMovingFrames);
  const int64_t stillMs = nowMs - seen.changedMs;
  window.frozen = moves && frozenAfterMs_ > 0 && stillMs >= frozenAfterMs_;
  if (!window.frozen || seen.told) return;
  seen.told = true;
  verdict.changes.push_back(
      {window.number, window.content, true, nowMs - seen.drawnMs < frozenAfterMs_ / 2, stillMs});
}

bool HealthJudge::AllVideosStand(const Sample& sample) const {
  if (frozenAfterMs_ == 0) return false;
  bool any = false;
  for (const auto& [number, seen] : seen_) {
    if (MotionOf(seen.content) != Motion::kVideo) continue;
    any = true;
    // A video of one picture is drawn all the time, and lives.
    // Twice the time in which one is named: an operator reads of it before the watchdog ends the
    // process.
    if (sample.nowMs - seen.drawnMs < 2 * frozenAfterMs_) return false;
  }
  return any;
}

}  // namespace plexion_host
