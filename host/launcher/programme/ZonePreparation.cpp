// What a zone loads ahead: the next item, the first of the next day part, and what stands in when
// nothing of a playlist can be played.
#include <algorithm>
#include <iterator>
#include <utility>

#include "host/base/Check.h"
#include "host/launcher/programme/ZoneDirector.h"
#include "host/launcher/programme/document/ContentKinds.h"

namespace plexion_host {

void ZoneDirector::ReadItems() { items_ = FlatItems(*programme_, playing_); }

/// A watched folder may hold others by now: the place of what is on follows it.
void ZoneDirector::FindCurrentAgain() {
  if (current_.number == 0 || current_.once || current_.playlist != playing_ || items_.empty()) {
    return;
  }
  const auto isCurrent = [this](const Item& item) { return item.content == current_.item.content; };
  if (current_.index < items_.size() && isCurrent(items_[current_.index])) return;
  const auto found = std::find_if(items_.begin(), items_.end(), isCurrent);
  if (found != items_.end()) {
    current_.index = static_cast<size_t>(found - items_.begin());
  } else {
    // The one that has taken its place comes next: one step back, round the end, so that Following
    // gives just that. What is on is no item any more, and no place of it is reported.
    current_.index = (current_.index + items_.size() - 1) % items_.size();
    current_.once = true;
  }
}

int64_t ZoneDirector::SinceBegin(const DayPart& part, Moment moment) const {
  const Playlist* const playlist = programme_->FindPlaylist(part.playlist);
  const int64_t align = playlist != nullptr ? playlist->alignMs : 0;
  if (align > 0) return schedule_->Clock().At(moment).ms % align;
  return std::max<int64_t>(moment - part.begin, 0);
}

void ZoneDirector::EnterPart(const DayPart& part, Moment moment, const ZoneTime& now, Slot& slot) {
  const std::vector<Item> items = FlatItems(*programme_, part.playlist);
  if (items.empty()) return;
  // Only if every item says how long it lasts can one tell which would be on by now. One that has
  // its own length makes all behind it unknown.
  int64_t total = 0;
  bool known = true;
  for (const Item& item : items) {
    known = known && item.durationMs.has_value();
    total += item.durationMs.value_or(0);
  }
  size_t first = 0;
  int64_t left = 0;
  if (known) {
    PLEXION_CHECK(total > 0, "the reader refuses items that last less than a moment");
    // The whole list is one round; rounds follow each other from the part's beginning on.
    int64_t since = SinceBegin(part, moment) % total;
    while (since >= *items[first].durationMs) since -= *items[first++].durationMs;
    left = *items[first].durationMs - since;
    // Nothing is begun for the blink of an eye.
    if (left < kBlinkMs && items.size() > 1) {
      first = (first + 1) % items.size();
      left = 0;
    }
  }
  const size_t before = first == 0 ? items.size() - 1 : first - 1;
  const auto index = Following(items, before, now);
  if (!index) return;
  Load(slot, part.playlist, items[*index], *index, now);
  // Another one than was reckoned, since that has failed of late: it gets its whole duration.
  if (*index == first) slot.durationLeftMs = left;
}

void ZoneDirector::NoteFailure(const Item& item, const ZoneTime& now) {
  // What may be tried again is forgotten: a folder's files come and go for years.
  for (auto each = failedUntilMs_.begin(); each != failedUntilMs_.end();) {
    each = now.steadyMs >= each->second ? failedUntilMs_.erase(each) : std::next(each);
  }
  failedUntilMs_[KeyOf(item)] = now.steadyMs + kRetryMs;
}

bool ZoneDirector::MayBeTried(const Item& item, const ZoneTime& now) const {
  const auto failed = failedUntilMs_.find(KeyOf(item));
  return failed == failedUntilMs_.end() || now.steadyMs >= failed->second;
}

std::optional<size_t> ZoneDirector::Following(const std::vector<Item>& items, size_t index,
                                              const ZoneTime& now) const {
  // From the one behind `index` once round, `index` itself last: alone in its list, an item follows
  // itself.
  for (size_t step = 1; step <= items.size(); ++step) {
    const size_t candidate = (index + step) % items.size();
    if (MayBeTried(items[candidate], now)) return candidate;
  }
  return std::nullopt;
}

std::optional<size_t> ZoneDirector::Preceding(size_t index, const ZoneTime& now) const {
  for (size_t step = 1; step <= items_.size(); ++step) {
    const size_t candidate = (index + items_.size() - step) % items_.size();
    if (MayBeTried(items_[candidate], now)) return candidate;
  }
  return std::nullopt;
}

void ZoneDirector::Load(Slot& slot, const std::string& playlist, const Item& item, size_t index,
                        const ZoneTime& now) {
  PLEXION_CHECK(slot.number == 0, "a content that is loaded has been shown or dropped");
  slot = Slot();
  slot.number = ++lastNumber_;
  slot.item = item;
  slot.index = index;
  slot.playlist = playlist;
  slot.loadBeganMs = now.steadyMs;
  // For status lines only; its end comes from the player.
  if (IsStillPicture(item)) slot.expectedMs = programme_->defaultDurationMs;
  stage_.Load(slot.number, item);
}

void ZoneDirector::Fail(Slot& slot, const std::string& why, const ZoneTime& now) {
  NoteFailure(slot.item, now);
  if (news_) news_({ZoneNews::Kind::kFailed, slot.item.content, why, slot.playlist, 0});
  Drop(slot);
}

void ZoneDirector::CheckDeadline(Slot& slot, const ZoneTime& now) {
  if (slot.number == 0 || slot.ready || now.steadyMs < slot.loadBeganMs + kLoadLimitMs) return;
  Fail(slot, "it is not ready after " + std::to_string(kLoadLimitMs / 1000) + " s", now);
}

void ZoneDirector::PrepareNext(const ZoneTime& now) {
  if (next_.number != 0 || PrepareAsked(now)) return;
  if (fellBack_ && PrepareOwnAgain(now)) return;
  if (items_.empty()) {
    if (now.steadyMs < retryAtMs_) return;
    retryAtMs_ = now.steadyMs + kEmptyRetryMs;
  }
  ReadItems();
  FindCurrentAgain();
  // As long as something is on, a list of failures is no reason to show less than that.
  const bool nothingOn = current_.number == 0 || CurrentIsOver(now);
  // What was alone has got company.
  if (current_.stays && items_.size() > 1) {
    current_.stays = false;
    current_.endAtMs = std::max(now.steadyMs, current_.shownAtMs + programme_->defaultDurationMs);
  }
  const size_t last = items_.empty() ? 0 : items_.size() - 1;
  const bool own = current_.number != 0 && current_.playlist == playing_;
  // What is on belongs to another list (a fallback, the part before): this one begins with its
  // first item.
  const auto index = Following(items_, own ? std::min(current_.index, last) : last, now);
  if (!index) {
    if (nothingOn) FallBack(now);
    return;
  }
  // What is alone and has no end stays: there is nothing to get ready for.
  if (current_.number != 0 && current_.stays && *index == current_.index) return;
  Load(next_, playing_, items_[*index], *index, now);
}

/// What the operator asked for comes first.
bool ZoneDirector::PrepareAsked(const ZoneTime& now) {
  if (once_) {
    const Item item = *std::exchange(once_, std::nullopt);
    Load(next_, playing_, item, current_.index, now);
    next_.once = true;
    return true;
  }
  if (!jump_) return false;
  const size_t index = *std::exchange(jump_, std::nullopt);
  if (index >= items_.size()) return false;
  Load(next_, playing_, items_[index], index, now);
  return true;
}

/// While the fallback plays, the contents that it stands for are asked again, each in its time.
bool ZoneDirector::PrepareOwnAgain(const ZoneTime& now) {
  const std::vector<Item> own = FlatItems(*programme_, part_.playlist);
  // "size - 1" is the place before the first: Following begins with item 0.
  const auto index = own.empty() ? std::optional<size_t>() : Following(own, own.size() - 1, now);
  if (!index) return false;
  Load(next_, part_.playlist, own[*index], *index, now);
  return true;
}

void ZoneDirector::PrepareBoundary(const ZoneTime& now) {
  // Loaded for a moment that a step of the clock has put far away. Twice the lead: small corrections
  // of the clock do not throw away what has just been loaded.
  if (boundary_.number != 0 && part_.end - now.wall > 2 * kLeadMs) Drop(boundary_);
  if (boundary_.number != 0 || part_.end == kNever || part_.end - now.wall > kLeadMs) return;
  const DayPart following = schedule_->At(ZoneOf(), part_.end);
  // The same part goes on behind the boundary of another entry, one that loses.
  if (following.entry == part_.entry && following.playlist == part_.playlist) return;
  // What was interrupted comes back, and is there.
  for (const Interrupted& each : interrupted_) {
    if (each.entry == following.entry && each.playlist == following.playlist) return;
  }
  boundaryPart_ = following;
  EnterPart(following, part_.end, now, boundary_);
}

void ZoneDirector::PreparePass(const ZoneTime& now) {
  if (current_.passEnd == kNever || pass_.number != 0 || items_.empty()) return;
  // The part's end comes first, and what is loaded for that is in boundary_.
  if (current_.passEnd - now.wall > kLeadMs || current_.passEnd > part_.end) return;
  const auto index = Following(items_, items_.size() - 1, now);
  if (index) Load(pass_, playing_, items_[*index], *index, now);
}

/// The part's playlist cannot be played: the fallback, then the plain picture.
void ZoneDirector::FallBack(const ZoneTime& now) {
  if (!fellBack_ && !programme_->fallback.empty() && programme_->fallback != playing_) {
    const std::vector<Item> items = FlatItems(*programme_, programme_->fallback);
    const auto index =
        items.empty() ? std::optional<size_t>() : Following(items, items.size() - 1, now);
    if (index) {
      fellBack_ = true;
      playing_ = programme_->fallback;
      items_ = items;
      Load(next_, playing_, items_[*index], *index, now);
      return;
    }
  }
  if (reasonShown_) return;
  // The last picture of what is over looks better than words, for some seconds: the next content
  // may be about to come.
  if (current_.number != 0) {
    const int64_t overAtMs = current_.ended ? current_.endedAtMs : current_.endAtMs.value_or(0);
    if (now.steadyMs - overAtMs < kLastPictureMs) return;
  }
  reasonShown_ = true;
  reason_ = "none of its contents can be played";
  if (items_.empty()) reason_ = "there is nothing to play in \"" + playing_ + "\"";
  if (playing_.empty()) reason_ = "no playlist is on at this time";
  stage_.ShowReason(reason_);
  if (news_) news_({ZoneNews::Kind::kNothing, "", reason_, playing_, 0});
}

}  // namespace plexion_host
