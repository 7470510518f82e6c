// One zone's decisions: items one after the other, day parts at their moments, what fails left out.
#include "host/launcher/programme/ZoneDirector.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace plexion_host {
namespace {

constexpr int64_t kForEver = INT64_MAX;

}  // namespace

ZoneDirector::ZoneDirector(std::shared_ptr<const Programme> programme, ICalendar& calendar,
                           std::string zone, ZoneStage& stage,
                           std::function<void(const ZoneNews&)> news)
    : calendar_(calendar),
      programme_(std::move(programme)),
      schedule_(std::make_unique<Schedule>(*programme_, calendar_)),
      zone_(std::move(zone)),
      stage_(stage),
      news_(std::move(news)) {}

int64_t ZoneDirector::Advance(const ZoneTime& now) {
  if (paused_) return kForEver;
  // Not in the last seconds before a boundary, whose content would have to be loaded anew.
  const bool between = current_.number == 0 || CurrentIsOver(now);
  if (pending_ != nullptr && between && boundary_.number == 0) TakePending(now);
  // Asked again when its answer may be another one: at its end, or when the clock was put back.
  const bool known = started_ && now.wall >= lookedAt_ && now.wall < part_.end;
  const DayPart part = known ? part_ : schedule_->At(ZoneOf(), now.wall);
  lookedAt_ = now.wall;
  const bool changes = !started_ || part.entry != part_.entry || part.playlist != part_.playlist;
  const bool waits = started_ && current_.number != 0 && part.entry != nullptr &&
                     part.entry->interruption == Interruption::kAfterItem && !CurrentIsOver(now);
  if (changes && !waits) {
    UsePart(part, now);
  } else if (!changes) {
    part_ = part;
  }
  CheckDeadline(next_, now);
  CheckDeadline(boundary_, now);
  if (current_.number == 0 || CurrentIsOver(now)) {
    // What is on stays until the next one can take its place.
    if (next_.number != 0 && next_.ready) {
      Show(next_, current_.number == 0 ? "start" : "next", now);
    }
  }
  PrepareNext(now);
  PrepareBoundary(now);
  return NextCall(now);
}

bool ZoneDirector::CurrentIsOver(const ZoneTime& now) const {
  return current_.ended || (current_.endAtMs && now.steadyMs >= *current_.endAtMs);
}

void ZoneDirector::TakePending(const ZoneTime& now) {
  Drop(next_);
  Drop(boundary_);
  Drop(resumed_);
  resumedFor_ = nullptr;
  // A zone that is gone has nobody to direct it; its director is told by whoever owns it.
  if (pending_->FindZone(zone_) == nullptr) {
    pending_.reset();
    return;
  }
  const std::string content = current_.item.content;
  programme_ = std::move(pending_);
  schedule_ = std::make_unique<Schedule>(*programme_, calendar_);
  failedUntilMs_.clear();
  part_ = schedule_->At(ZoneOf(), now.wall);
  fellBack_ = false;
  playing_ = part_.playlist;
  started_ = true;
  ReadItems();
  // It goes on behind the content that was on, where that is still in the list.
  for (size_t i = 0; i < items_.size(); ++i) {
    if (items_[i].content != content) continue;
    current_.index = i;
    current_.playlist = playing_;
    return;
  }
  current_.index = items_.empty() ? 0 : items_.size() - 1;
  current_.playlist = playing_;
}

/// Another day part counts from now on.
void ZoneDirector::UsePart(const DayPart& part, const ZoneTime& now) {
  const bool start = !started_;
  const bool prepared = boundary_.number != 0 && boundaryPart_.entry == part.entry &&
                        boundaryPart_.playlist == part.playlist;
  const bool interrupts = part.entry != nullptr && current_.number != 0 &&
                          part.entry->interruption == Interruption::kResume;
  const bool resumes = resumed_.number != 0 && part.entry != resumedFor_;
  started_ = true;
  part_ = part;
  fellBack_ = false;
  playing_ = part.playlist;
  Drop(next_);
  if (!prepared) Drop(boundary_);
  ReadItems();
  if (resumes) {
    // What was interrupted goes on where it was.
    Drop(boundary_);
    Slot back = std::exchange(resumed_, Slot());
    resumedFor_ = nullptr;
    stage_.Resume(back.number);
    if (back.endAtMs) back.endAtMs = now.steadyMs + back.durationLeftMs;
    back.durationLeftMs = 0;
    next_ = back;
    Show(next_, "schedule", now);
    return;
  }
  if (interrupts) {
    stage_.Pause(current_.number);
    resumed_ = current_;
    if (resumed_.endAtMs)
      resumed_.durationLeftMs = std::max<int64_t>(*resumed_.endAtMs - now.steadyMs, 1);
    resumedFor_ = part.entry;
  }
  next_ = std::exchange(boundary_, Slot());
  if (next_.number == 0) EnterPart(now, next_);
  if (next_.number == 0) {
    FallBack(now);
    return;
  }
  // Not ready yet: what is on stays until it is, and then goes at once.
  if (!start && current_.number != 0) current_.endAtMs = now.steadyMs;
  if (next_.ready) Show(next_, start ? "start" : "schedule", now);
}

void ZoneDirector::ReadItems() { items_ = FlatItems(*programme_, playing_); }

/// Loads the item that would be on by now.
void ZoneDirector::EnterPart(const ZoneTime& now, Slot& slot) {
  if (items_.empty()) return;
  int64_t total = 0;
  for (const Item& item : items_) total += item.durationMs ? *item.durationMs : -kForEver / 1000000;
  size_t first = 0;
  int64_t left = 0;
  if (total > 0) {
    const Playlist* const playlist = programme_->FindPlaylist(playing_);
    const int64_t align = playlist != nullptr ? playlist->alignMs : 0;
    int64_t since = std::max<int64_t>(now.wall - part_.begin, 0);
    if (align > 0) {
      since = schedule_->Clock().At(now.wall).ms % align;
    }
    since %= total;
    while (since >= *items_[first].durationMs) since -= *items_[first++].durationMs;
    left = *items_[first].durationMs - since;
    // Nothing is begun for the blink of an eye.
    if (left < 1000 && items_.size() > 1) {
      first = (first + 1) % items_.size();
      left = 0;
    }
  }
  const size_t before = first == 0 ? items_.size() - 1 : first - 1;
  const auto index = Following(before, now);
  if (!index || !Load(slot, playing_, items_[*index], *index, now)) return;
  if (*index == first) slot.durationLeftMs = left;
}

std::optional<size_t> ZoneDirector::Following(size_t index, const ZoneTime& now) const {
  for (size_t step = 1; step <= items_.size(); ++step) {
    const size_t candidate = (index + step) % items_.size();
    const auto failed = failedUntilMs_.find(KeyOf(items_[candidate]));
    if (failed == failedUntilMs_.end() || now.steadyMs >= failed->second) return candidate;
  }
  return std::nullopt;
}

bool ZoneDirector::Load(Slot& slot, const std::string& playlist, const Item& item, size_t index,
                        const ZoneTime& now) {
  slot = Slot();
  slot.number = ++lastNumber_;
  slot.item = item;
  slot.index = index;
  slot.playlist = playlist;
  slot.loadBeganMs = now.steadyMs;
  stage_.Load(slot.number, item);
  return true;
}

void ZoneDirector::Drop(Slot& slot) {
  if (slot.number != 0) stage_.Drop(slot.number);
  slot = Slot();
}

void ZoneDirector::Show(Slot& slot, const char* reason, const ZoneTime& now) {
  Slot previous = std::exchange(current_, std::exchange(slot, Slot()));
  current_.shownAtMs = now.steadyMs;
  const bool own = current_.item.durationMs.has_value();
  if (current_.durationLeftMs > 0) {
    current_.endAtMs = now.steadyMs + current_.durationLeftMs;
  } else if (own && !current_.endAtMs) {
    current_.endAtMs = now.steadyMs + *current_.item.durationMs;
  }
  current_.durationLeftMs = 0;
  const Transition& transition =
      current_.item.transition ? *current_.item.transition : ZoneOf().transition;
  stage_.Show(current_.number, previous.number, transition);
  reasonShown_ = false;
  if (news_) {
    ZoneNews news{ZoneNews::Kind::kShown, current_.item.content, reason, current_.playlist,
                  previous.number == 0 ? 0 : now.steadyMs - previous.shownAtMs};
    if (previous.number != 0) news.before = previous.item.content;
    if (current_.endAtMs) news.durationMs = *current_.endAtMs - now.steadyMs;
    news_(news);
  }
  // What is paused for an interruption is not dropped.
  if (previous.number != 0 && previous.number != resumed_.number) stage_.Drop(previous.number);
}

void ZoneDirector::Fail(Slot& slot, const std::string& why, const ZoneTime& now) {
  failedUntilMs_[KeyOf(slot.item)] = now.steadyMs + kRetryMs;
  if (news_) news_({ZoneNews::Kind::kFailed, slot.item.content, why, slot.playlist, 0});
  Drop(slot);
}

void ZoneDirector::CheckDeadline(Slot& slot, const ZoneTime& now) {
  if (slot.number == 0 || slot.ready || now.steadyMs < slot.loadBeganMs + kLoadLimitMs) return;
  Fail(slot, "it is not ready after " + std::to_string(kLoadLimitMs / 1000) + " s", now);
}

void ZoneDirector::PrepareNext(const ZoneTime& now) {
  if (next_.number != 0) return;
  if (once_) {
    const Item item = *std::exchange(once_, std::nullopt);
    const size_t index = current_.index;
    Load(next_, playing_, item, index, now);
    return;
  }
  if (items_.empty()) {
    if (now.steadyMs < retryAtMs_) return;
    retryAtMs_ = now.steadyMs + kEmptyRetryMs;
  }
  // A watched folder may hold others by now.
  const Playlist* const playlist = programme_->FindPlaylist(playing_);
  if (playlist != nullptr) ReadItems();
  if (items_.empty()) {
    if (current_.number == 0) FallBack(now);
    return;
  }
  // A single content that has no end and no duration is not begun again beside itself.
  const size_t from =
      current_.number != 0 && current_.playlist == playing_ ? current_.index : items_.size() - 1;
  const auto index = Following(std::min(from, items_.size() - 1), now);
  if (!index) {
    if (current_.number == 0 || CurrentIsOver(now)) FallBack(now);
    return;
  }
  // What is alone and has no end stays: there is nothing to get ready for.
  if (current_.number != 0 && current_.stays && *index == current_.index) return;
  Load(next_, playing_, items_[*index], *index, now);
}

void ZoneDirector::PrepareBoundary(const ZoneTime& now) {
  if (boundary_.number != 0 || part_.end == kNever || part_.end - now.wall > kLeadMs) return;
  const DayPart following = schedule_->At(ZoneOf(), part_.end);
  if (following.entry == part_.entry && following.playlist == part_.playlist) return;
  if (resumed_.number != 0) return;  // what was interrupted comes back
  const std::vector<Item> items = FlatItems(*programme_, following.playlist);
  if (items.empty()) return;
  // The items of the coming part are looked at as if it had begun.
  const std::vector<Item> kept = std::exchange(items_, items);
  const auto index = Following(items.size() - 1, now);
  items_ = kept;
  if (!index) return;
  boundaryPart_ = following;
  Load(boundary_, following.playlist, items[*index], *index, now);
}

/// The part's playlist cannot be played: the fallback, then the plain picture.
void ZoneDirector::FallBack(const ZoneTime& now) {
  const bool another =
      !fellBack_ && !programme_->fallback.empty() && programme_->fallback != playing_;
  if (another) {
    fellBack_ = true;
    playing_ = programme_->fallback;
    ReadItems();
    const auto index = items_.empty() ? std::optional<size_t>() : Following(items_.size() - 1, now);
    if (index) {
      Load(next_, playing_, items_[*index], *index, now);
      return;
    }
  }
  if (fellBack_ && playing_ != part_.playlist && now.steadyMs >= retryAtMs_) {
    // The part's own contents are asked again, in their time.
    retryAtMs_ = now.steadyMs + kEmptyRetryMs;
    playing_ = part_.playlist;
    ReadItems();
    fellBack_ = false;
  }
  if (current_.number != 0 || reasonShown_) return;
  reasonShown_ = true;
  const std::string reason = items_.empty() ? "there is nothing to play in \"" + playing_ + "\""
                                            : "none of its contents can be played";
  stage_.ShowReason(reason);
  if (news_) news_({ZoneNews::Kind::kNothing, "", reason, playing_, 0});
}

void ZoneDirector::OnLoaded(uint64_t number, bool endless, const ZoneTime& now) {
  for (Slot* const slot : {&next_, &boundary_}) {
    if (number == 0 || slot->number != number) continue;
    slot->ready = true;
    // What is alone in its playlist has nobody to make room for.
    const bool alone = FlatItems(*programme_, slot->playlist).size() == 1;
    slot->stays = endless && alone && !slot->item.durationMs;
    if (endless && !alone && !slot->item.durationMs) {
      slot->item.durationMs = programme_->defaultDurationMs;
    }
  }
  Advance(now);
}

void ZoneDirector::OnEnded(uint64_t number, const std::string& failure, const ZoneTime& now) {
  if (number == 0) return;
  if (number == current_.number) {
    current_.ended = true;
    if (!failure.empty()) {
      failedUntilMs_[KeyOf(current_.item)] = now.steadyMs + kRetryMs;
      if (news_) {
        news_({ZoneNews::Kind::kFailed, current_.item.content, failure, current_.playlist,
               now.steadyMs - current_.shownAtMs});
      }
    }
  } else if (number == next_.number) {
    Fail(next_, failure.empty() ? "it ended before it was shown" : failure, now);
  } else if (number == boundary_.number) {
    Fail(boundary_, failure.empty() ? "it ended before it was shown" : failure, now);
  } else if (number == resumed_.number) {
    Drop(resumed_);
  }
  Advance(now);
}

void ZoneDirector::SetProgramme(std::shared_ptr<const Programme> programme) {
  pending_ = std::move(programme);
}

void ZoneDirector::Next(const ZoneTime& now) {
  if (paused_) SetPaused(false, now);
  if (current_.number != 0) current_.endAtMs = now.steadyMs;
  Advance(now);
}

void ZoneDirector::Previous(const ZoneTime& now) {
  if (items_.empty()) return;
  Drop(next_);
  const size_t count = items_.size();
  current_.index = (current_.index + 2 * count - 2) % count;
  current_.playlist = playing_;
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

void ZoneDirector::PlayOnce(const Item& item, const ZoneTime& now) {
  Drop(next_);
  once_ = item;
  Next(now);
}

int64_t ZoneDirector::NextCall(const ZoneTime& now) const {
  int64_t at = kForEver;
  const auto sooner = [&](int64_t other) { at = std::min(at, other); };
  if (part_.end != kNever) {
    sooner(now.steadyMs + std::max<int64_t>(part_.end - now.wall, 0));
    if (boundary_.number == 0 && part_.end - now.wall > kLeadMs) {
      sooner(now.steadyMs + part_.end - now.wall - kLeadMs);
    }
  }
  if (current_.number != 0 && current_.endAtMs && *current_.endAtMs > now.steadyMs) {
    sooner(*current_.endAtMs);
  }
  for (const Slot* const slot : {&next_, &boundary_}) {
    if (slot->number != 0 && !slot->ready) sooner(slot->loadBeganMs + kLoadLimitMs);
  }
  // Nothing is on its way: what failed is asked again.
  if (next_.number == 0) sooner(now.steadyMs + kEmptyRetryMs);
  return std::max(at, now.steadyMs + 1);
}

ZoneStatus ZoneDirector::Status(const ZoneTime& now) const {
  ZoneStatus status;
  status.content = current_.item.content;
  status.playlist = current_.playlist;
  status.paused = paused_;
  if (current_.number != 0) status.shownMs = now.steadyMs - current_.shownAtMs;
  status.next = boundary_.number != 0 ? boundary_.item.content : next_.item.content;
  if (current_.number != 0 && current_.endAtMs) {
    status.nextInMs = std::max<int64_t>(*current_.endAtMs - now.steadyMs, 0);
  }
  if (part_.end != kNever) {
    const int64_t left = std::max<int64_t>(part_.end - now.wall, 0);
    if (boundary_.number != 0 && (!status.nextInMs || left < *status.nextInMs))
      status.nextInMs = left;
  }
  return status;
}

}  // namespace plexion_host
