// One zone's decisions: which day part counts, and what is on the screen for it.
#include "host/launcher/programme/ZoneDirector.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

/// Each holds a content that stands still; more than this no schedule needs.
constexpr size_t kMostInterrupted = 4;

}  // namespace

ZoneDirector::ZoneDirector(std::shared_ptr<const Programme> programme, ICalendar& calendar,
                           std::string zone, ZoneStage& stage,
                           std::function<void(const ZoneNews&)> news)
    : calendar_(calendar),
      programme_(std::move(programme)),
      schedule_(std::make_unique<Schedule>(*programme_, calendar_)),
      zone_(std::move(zone)),
      stage_(stage),
      news_(std::move(news)) {
  PLEXION_CHECK(programme_->FindZone(zone_) != nullptr, "the zone is one of the programme");
}

int64_t ZoneDirector::Advance(const ZoneTime& now) {
  // What is on stands still, and so does the plan: durations are moved by the length of the pause,
  // and day parts that pass meanwhile are not shown.
  if (paused_) return kNever;
  // What is alone and has no end has no moment to wait for. Not in the last seconds before a
  // boundary, whose content would have to be loaded anew.
  const bool between = current_.number == 0 || current_.stays || CurrentIsOver(now);
  if (pending_ != nullptr && between && boundary_.number == 0) TakePending(now);
  // The multiples of a pass lie elsewhere after a step back.
  if (started_ && now.wall < lookedAt_) SetPassEnd(now);
  // Asked again when its answer may be another one: at its end, or when the clock was put back.
  const bool known = started_ && now.wall >= lookedAt_ && now.wall < part_.end;
  const DayPart part = known ? part_ : schedule_->At(ZoneOf(), now.wall);
  lookedAt_ = now.wall;
  const bool changes = !started_ || part.entry != part_.entry || part.playlist != part_.playlist;
  const bool waits = changes && started_ && current_.number != 0 && part.entry != nullptr &&
                     part.entry->interruption == Interruption::kAfterItem && !current_.stays &&
                     !CurrentIsOver(now);
  waitsUntil_ = waits ? std::optional<Moment>(part.end) : std::nullopt;
  if (changes && !waits) {
    UsePart(part, now);
  } else if (!changes) {
    // With waitsUntil_ the old part stays in `part_`, so that the next call sees the change again.
    part_ = part;
  }
  // Deadlines before decisions: a slot that is given up frees its place for another in this very
  // call.
  for (Slot* const slot : {&next_, &boundary_, &pass_}) CheckDeadline(*slot, now);
  ShowWhatIsDue(now);
  PrepareNext(now);
  PrepareBoundary(now);
  PreparePass(now);
  return NextCall(now);
}

bool ZoneDirector::CurrentIsOver(const ZoneTime& now) const {
  if (current_.ended || (current_.endAtMs && now.steadyMs >= *current_.endAtMs)) return true;
  // The fallback's, without an end, gives way to the playlist that it stands for.
  return current_.stays && next_.ready && next_.playlist != current_.playlist;
}

void ZoneDirector::ShowWhatIsDue(const ZoneTime& now) {
  if (pass_.ready && now.wall >= current_.passEnd) {
    // The playlist's next item was loaded for a place that the pass takes.
    Drop(next_);
    Show(pass_, "next", now);
    return;
  }
  if (current_.number != 0 && !CurrentIsOver(now)) return;
  // Nothing is begun for the blink of an eye before a pass.
  const bool blink =
      pass_.ready && current_.passEnd != kNever && current_.passEnd - now.wall < kBlinkMs;
  // What is on stays until the next one can take its place.
  if (next_.ready && !blink) Show(next_, current_.number == 0 ? "start" : "next", now);
}

void ZoneDirector::TakePending(const ZoneTime& now) {
  // A new programme may have other zones, playlists and times: what was loaded for the old one may
  // never be shown.
  DropWaiting();
  DropInterrupted();
  // A zone that is gone has nobody to direct it; its director is told by whoever owns it.
  if (pending_->FindZone(zone_) == nullptr) {
    pending_.reset();
    return;
  }
  programme_ = std::move(pending_);
  schedule_ = std::make_unique<Schedule>(*programme_, calendar_);
  // A mended document is why somebody changed it: what failed under the old one is tried at once.
  failedUntilMs_.clear();
  TakePart(schedule_->At(ZoneOf(), now.wall));
  started_ = true;
  // It goes on behind the content that was on, where that is still in the list.
  current_.playlist = playing_;
  const auto same = std::find_if(items_.begin(), items_.end(), [this](const Item& item) {
    return item.content == current_.item.content;
  });
  const bool found = same != items_.end();
  const size_t last = items_.empty() ? 0 : items_.size() - 1;
  current_.index = found ? static_cast<size_t>(same - items_.begin()) : last;
  current_.once = !found;
  if (current_.stays && !(found && items_.size() == 1)) {
    current_.stays = false;
    current_.endAtMs = now.steadyMs;
  }
}

void ZoneDirector::TakePart(const DayPart& part) {
  part_ = part;
  fellBack_ = false;
  playing_ = part.playlist;
  ReadItems();
}

/// Another day part counts from now on.
void ZoneDirector::UsePart(const DayPart& part, const ZoneTime& now) {
  const bool start = !started_;
  // Loaded for this part in its last seconds. A step of the clock, or a new programme, may have
  // made that another one.
  const bool prepared = boundary_.number != 0 && boundaryPart_.entry == part.entry &&
                        boundaryPart_.playlist == part.playlist;
  if (ComeBack(part, now)) return;
  // With "resume" only, and only while the interrupted part would still count: what is over has
  // nothing to come back to.
  const bool interrupts =
      !start && current_.number != 0 && !CurrentIsOver(now) && part.entry != nullptr &&
      part.entry->interruption == Interruption::kResume && schedule_->Holds(part_.entry, now.wall);
  if (interrupts) Interrupt(now);
  started_ = true;
  // Out of its slot before DropWaiting, which empties all of them.
  Slot first = prepared ? std::exchange(boundary_, Slot()) : Slot();
  DropWaiting();
  TakePart(part);
  next_ = first;
  if (next_.number == 0) EnterPart(part, now.wall, now, next_);
  // Not ready yet: what is on stays until it is, and then goes at once.
  if (current_.number != 0) {
    current_.endAtMs = now.steadyMs;
    current_.passEnd = kNever;
  }
  if (next_.number == 0) {
    FallBack(now);
  } else if (next_.ready) {
    Show(next_, start ? "start" : "schedule", now);
  }
}

/// What was interrupted goes on where it was, when its part counts again. What another part has
/// taken the place of meanwhile is let go.
bool ZoneDirector::ComeBack(const DayPart& part, const ZoneTime& now) {
  // From the back: the last to be interrupted is the first that may come back.
  for (size_t i = interrupted_.size(); i-- > 0;) {
    Interrupted& each = interrupted_[i];
    const bool same = each.entry == part.entry && each.playlist == part.playlist;
    if (!same && schedule_->Holds(each.entry, now.wall)) continue;
    if (!same) LetGo(each);
    Slot back = std::exchange(each.slot, Slot());
    interrupted_.erase(interrupted_.begin() + static_cast<std::ptrdiff_t>(i));
    if (!same) continue;
    DropWaiting();
    TakePart(part);
    stage_.Resume(back.number);
    if (back.endAtMs) back.endAtMs = now.steadyMs + back.durationLeftMs;
    back.durationLeftMs = 0;
    next_ = back;
    Show(next_, "schedule", now);
    return true;
  }
  return false;
}

void ZoneDirector::Interrupt(const ZoneTime& now) {
  PLEXION_CHECK(current_.number != 0, "something is on that can be interrupted");
  if (interrupted_.size() >= kMostInterrupted) {
    // The oldest gives way: it would be the last to come back.
    LetGo(interrupted_.front());
    interrupted_.erase(interrupted_.begin());
  }
  stage_.Pause(current_.number);
  Slot slot = current_;
  // At least a millisecond: with nothing left it would be taken for one without a duration.
  if (slot.endAtMs) slot.durationLeftMs = std::max<int64_t>(*slot.endAtMs - now.steadyMs, 1);
  interrupted_.push_back({slot, part_.entry, part_.playlist});
}

void ZoneDirector::DropInterrupted() {
  for (Interrupted& each : interrupted_) LetGo(each);
  interrupted_.clear();
}

/// What was interrupted is on as long as nothing has taken its place yet. Show drops it then.
void ZoneDirector::LetGo(Interrupted& interrupted) {
  if (interrupted.slot.number != current_.number) Drop(interrupted.slot);
}

void ZoneDirector::DropWaiting() {
  for (Slot* const slot : {&next_, &boundary_, &pass_}) Drop(*slot);
  jump_.reset();
}

void ZoneDirector::Drop(Slot& slot) {
  if (slot.number != 0) stage_.Drop(slot.number);
  slot = Slot();
}

void ZoneDirector::Show(Slot& slot, const char* reason, const ZoneTime& now) {
  PLEXION_CHECK(slot.number != 0 && slot.ready, "what is shown has its first picture");
  // The slot is emptied before the stage is called, which may call back: from then on the content
  // is known as current_ only.
  Slot previous = std::exchange(current_, std::exchange(slot, Slot()));
  // It was interrupted by what did not get ready in time, and has been on all the while.
  if (previous.number == current_.number) previous = Slot();
  current_.shownAtMs = now.steadyMs;
  // A duration of the item's own counts from here and not from when it was loaded, however early
  // that was.
  const bool own = current_.item.durationMs.has_value();
  if (current_.durationLeftMs > 0) {
    current_.endAtMs = now.steadyMs + current_.durationLeftMs;
  } else if (own && !current_.endAtMs) {
    current_.endAtMs = now.steadyMs + *current_.item.durationMs;
  }
  current_.durationLeftMs = 0;
  // The playlist that the fallback stood for can be played again.
  if (fellBack_ && current_.playlist == part_.playlist) TakePart(part_);
  SetPassEnd(now);
  const Transition& transition =
      current_.item.transition ? *current_.item.transition : ZoneOf().transition;
  stage_.Show(current_.number, previous.number, transition);
  reasonShown_ = false;
  if (std::exchange(operatorActed_, false)) reason = "operator";
  if (news_) {
    ZoneNews news{ZoneNews::Kind::kShown, current_.item.content, reason, current_.playlist,
                  previous.number == 0 ? 0 : now.steadyMs - previous.shownAtMs};
    if (previous.number != 0) news.before = previous.item.content;
    if (current_.endAtMs) news.durationMs = *current_.endAtMs - now.steadyMs;
    if (!news.durationMs && current_.expectedMs != 0) news.durationMs = current_.expectedMs;
    news_(news);
  }
  // What is paused for an interruption is not dropped: from now on it is interrupted_'s.
  const bool kept =
      std::any_of(interrupted_.begin(), interrupted_.end(),
                  [&](const Interrupted& each) { return each.slot.number == previous.number; });
  if (previous.number != 0 && !kept) stage_.Drop(previous.number);
}

/// When the next pass of an aligned playlist begins, seen from the content that is on.
void ZoneDirector::SetPassEnd(const ZoneTime& now) {
  current_.passEnd = kNever;
  const Playlist* const playlist = programme_->FindPlaylist(playing_);
  if (current_.number == 0 || playlist == nullptr || playlist->alignMs <= 0) return;
  const LocalTime::Reading reading = schedule_->Clock().At(now.wall);
  // The pass that has begun already, as a time of day; the loop goes to the next multiples from it.
  // A pass never reaches over midnight, where counting begins anew.
  int64_t ms = reading.ms / playlist->alignMs * playlist->alignMs;
  // In the night that has an hour twice a time of day means the first one.
  do {
    ms = std::min(ms + playlist->alignMs, ms < kDayMs ? kDayMs : INT64_MAX);
    current_.passEnd = schedule_->Clock().Of(reading.day, ms);
  } while (current_.passEnd < now.wall + kBlinkMs);
}

void ZoneDirector::OnLoaded(uint64_t number, bool endless, const ZoneTime& now) {
  // Stale numbers match none: slots were emptied when their contents were dropped.
  for (Slot* const slot : {&next_, &boundary_, &pass_}) {
    if (number == 0 || slot->number != number) continue;
    slot->ready = true;
    // What is alone in its playlist has nobody to make room for.
    const bool alone = !slot->once && FlatItems(*programme_, slot->playlist).size() == 1;
    slot->stays = endless && alone && !slot->item.durationMs;
    if (endless && !alone && !slot->item.durationMs) {
      slot->item.durationMs = programme_->defaultDurationMs;
    }
  }
  Advance(now);
}

void ZoneDirector::OnEnded(uint64_t number, const std::string& failure, const ZoneTime& now) {
  if (number == 0) return;
  const std::string why = failure.empty() ? "it ended before it was shown" : failure;
  // It stays in current_ with its last picture: what is next may not be ready.
  if (number == current_.number) {
    current_.ended = true;
    current_.endedAtMs = now.steadyMs;
    if (!failure.empty()) {
      NoteFailure(current_.item, now);
      if (news_) {
        news_({ZoneNews::Kind::kFailed, current_.item.content, failure, current_.playlist,
               now.steadyMs - current_.shownAtMs});
      }
    }
  }
  for (Slot* const slot : {&next_, &boundary_, &pass_}) {
    if (number == slot->number) Fail(*slot, why, now);
  }
  for (size_t i = interrupted_.size(); i-- > 0;) {
    if (interrupted_[i].slot.number != number) continue;
    LetGo(interrupted_[i]);
    interrupted_.erase(interrupted_.begin() + static_cast<std::ptrdiff_t>(i));
  }
  Advance(now);
}

void ZoneDirector::SetProgramme(std::shared_ptr<const Programme> programme) {
  pending_ = std::move(programme);
}

int64_t ZoneDirector::NextCall(const ZoneTime& now) const {
  int64_t at = kNever;
  const auto sooner = [&](int64_t other) { at = std::min(at, other); };
  const auto atMoment = [&](Moment moment) {
    // The schedule counts by the wall clock, sleeping goes by the steady one; a step of the wall
    // clock in between is found by the launcher's look once a second.
    if (moment != kNever) sooner(now.steadyMs + std::max<int64_t>(moment - now.wall, 0));
  };
  // A part that waits for the item's end is looked at again then, or when it is over itself.
  atMoment(waitsUntil_ ? *waitsUntil_ : part_.end);
  if (!waitsUntil_ && part_.end != kNever && boundary_.number == 0 &&
      part_.end - now.wall > kLeadMs) {
    atMoment(part_.end - kLeadMs);
  }
  if (current_.passEnd != kNever && current_.passEnd > now.wall) {
    atMoment(current_.passEnd);
    if (pass_.number == 0 && current_.passEnd - now.wall > kLeadMs) {
      atMoment(current_.passEnd - kLeadMs);
    }
  }
  if (current_.number != 0 && current_.endAtMs && *current_.endAtMs > now.steadyMs) {
    sooner(*current_.endAtMs);
  }
  for (const Slot* const slot : {&next_, &boundary_, &pass_}) {
    if (slot->number != 0 && !slot->ready) sooner(slot->loadBeganMs + kLoadLimitMs);
  }
  // Nothing is on its way: what failed is asked again.
  if (next_.number == 0) sooner(now.steadyMs + kEmptyRetryMs);
  // At least one millisecond ahead: a deadline that is due but changes nothing must not make the
  // caller spin.
  return std::max(at, now.steadyMs + 1);
}

}  // namespace plexion_host
