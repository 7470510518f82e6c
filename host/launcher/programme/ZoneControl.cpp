// What an operator does with a zone, and what they are told of it.
#include <algorithm>

#include "host/launcher/programme/ZoneDirector.h"

namespace plexion_host {

void ZoneDirector::Next(const ZoneTime& now) {
  if (paused_) SetPaused(false, now);
  operatorActed_ = true;
  if (current_.number != 0) {
    current_.endAtMs = now.steadyMs;
    current_.stays = false;
  }
  Advance(now);
}

void ZoneDirector::Previous(const ZoneTime& now) {
  Drop(next_);
  // Behind a content of the operator's own the item before it is the last of the playlist's.
  jump_ = current_.once && current_.index < items_.size() ? std::optional<size_t>(current_.index)
                                                          : Preceding(current_.index, now);
  Next(now);
}

bool ZoneDirector::PlayItem(const std::string& name, const ZoneTime& now) {
  const auto is = [&](const Item& item) {
    const std::string& content = item.content;
    const std::string file = content.substr(content.rfind('/') + 1);
    return content == name || file == name;
  };
  const auto found = std::find_if(items_.begin(), items_.end(), is);
  if (found == items_.end()) return false;
  // Asked for by name it is tried again, whatever became of it before.
  failedUntilMs_.erase(KeyOf(*found));
  Drop(next_);
  jump_ = static_cast<size_t>(found - items_.begin());
  Next(now);
  return true;
}

void ZoneDirector::PlayOnce(const Item& item, const ZoneTime& now) {
  Drop(next_);
  once_ = item;
  Next(now);
}

void ZoneDirector::SetPaused(bool paused, const ZoneTime& now) {
  if (paused == paused_) return;
  paused_ = paused;
  if (paused) {
    pausedAtMs_ = now.steadyMs;
    if (current_.number != 0) stage_.Pause(current_.number);
    return;
  }
  if (current_.number != 0) {
    stage_.Resume(current_.number);
    if (current_.endAtMs) *current_.endAtMs += now.steadyMs - pausedAtMs_;
  }
  Advance(now);
}

ZoneStatus ZoneDirector::Status(const ZoneTime& now) const {
  ZoneStatus status;
  status.playlist = current_.number != 0 ? current_.playlist : playing_;
  status.items = items_.size();
  status.paused = paused_;
  if (reasonShown_) {
    status.reason = reason_;
  } else if (current_.number != 0) {
    status.number = current_.number;
    status.content = current_.item.content;
    status.shownMs = now.steadyMs - current_.shownAtMs;
    if (!current_.once && current_.playlist == playing_) status.item = current_.index + 1;
  }
  // Whichever comes first: the end of the item, the next pass, the next part.
  const auto sooner = [&](const Slot& slot, int64_t inMs) {
    if (status.nextInMs && *status.nextInMs <= inMs) return;
    status.nextInMs = std::max<int64_t>(inMs, 0);
    if (slot.number != 0) status.next = slot.item.content;
  };
  status.next = next_.item.content;
  if (paused_) return status;
  if (current_.number != 0 && current_.endAtMs) {
    sooner(next_, *current_.endAtMs - now.steadyMs);
  } else if (current_.number != 0 && current_.expectedMs != 0) {
    sooner(next_, current_.shownAtMs + current_.expectedMs - now.steadyMs);
  }
  if (pass_.number != 0) sooner(pass_, current_.passEnd - now.wall);
  if (boundary_.number != 0 && !waitsUntil_) sooner(boundary_, part_.end - now.wall);
  return status;
}

}  // namespace plexion_host
