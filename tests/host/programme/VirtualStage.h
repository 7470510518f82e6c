// Contents in virtual time, for a director to show.

#ifndef TESTS_HOST_PROGRAMME_VIRTUALSTAGE_H_
#define TESTS_HOST_PROGRAMME_VIRTUALSTAGE_H_

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <queue>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "host/calendar/Calendar.h"
#include "host/launcher/programme/ZoneDirector.h"

namespace plexion_host {

inline Calendar calendar;

/// Contents in virtual time: "slow" loads take twelve seconds, "never" ones do not end, "bad" ones
/// fail, "run" ones last five seconds of their own.
class VirtualStage final : public ZoneStage {
 public:
  struct Shown {
    ZoneTime at;
    std::string content;
    std::string reason = {};
  };

  VirtualStage(const std::string& document, Moment begin) : now_{begin, 1000} {
    director_ = std::make_unique<ZoneDirector>(Read(document), calendar, "main", *this,
                                               [this](const ZoneNews& news) { OnNews(news); });
  }

  static std::shared_ptr<const Programme> Read(const std::string& document) {
    auto programme = std::make_shared<Programme>();
    std::string error;
    EXPECT_TRUE(ReadProgramme(document, "", calendar, *programme, error)) << error;
    return programme;
  }

  void RunFor(int64_t ms) {
    const int64_t end = now_.steadyMs + ms;
    int64_t due = director_->Advance(now_);
    while (true) {
      const bool event = !events_.empty() && events_.top().atMs <= std::min(due, end);
      const int64_t next = event ? events_.top().atMs : std::min(due, end);
      now_.wall += next - now_.steadyMs;
      now_.steadyMs = next;
      if (event) {
        const Event happened = events_.top();
        events_.pop();
        Happen(happened);
      } else if (next == end) {
        break;
      }
      due = director_->Advance(now_);
      ++advances;
      EXPECT_GT(due, now_.steadyMs) << "a director that spins";
      EXPECT_LE(loaded_.size(), 6u) << "contents that nobody drops";
    }
  }

  void StepClock(int64_t ms) {
    now_.wall += ms;
    director_->Advance(now_);
  }

  /// From now on a content fails, or does not.
  void Break(const std::string& content) { broken_[content] = true; }
  void Mend(const std::string& content) { broken_[content] = false; }

  /// What is loaded of that content fails now, paused or not.
  void Crash(const std::string& content) {
    for (const auto& [number, name] : std::map<uint64_t, std::string>(loaded_)) {
      if (name != content) continue;
      crashed_.insert(number);
      director_->OnEnded(number, "it crashed", now_);
    }
  }

  ZoneDirector& Director() { return *director_; }
  const ZoneTime& Now() const { return now_; }
  const std::vector<Shown>& History() const { return shown_; }
  /// The contents in order, since the last question.
  std::string Contents() {
    std::string text;
    for (; asked_ < shown_.size(); ++asked_) text += shown_[asked_].content + " ";
    return text;
  }
  const std::string& Seen() const { return seen_; }
  unsigned Failures() const { return failures_; }
  const std::set<std::string>& Failed() const { return failed_; }
  unsigned emptyFrames = 0;
  unsigned advances = 0;  ///< how often the director was asked

  void Load(uint64_t number, const Item& item) override {
    EXPECT_TRUE(loaded_.emplace(number, item.content).second);
    const std::string& name = item.content;
    if (name.rfind("never-loads", 0) == 0) return;
    const int64_t takes = name.rfind("slow", 0) == 0 ? 12000 : 200 + random_() % 800;
    events_.push({now_.steadyMs + takes, number, IsBad(name) ? 2 : 0});
  }
  void Show(uint64_t number, uint64_t previous, const Transition&) override {
    ASSERT_EQ(1u, ready_.count(number)) << "shown before it was ready";
    EXPECT_EQ(0u, paused_.count(number)) << "shown before it was resumed";
    EXPECT_EQ(0u, crashed_.count(number)) << "shown when it was over";
    if (previous == 0 && number != on_ && !seen_.empty() && reason_.empty()) ++emptyFrames;
    on_ = number;
    seen_ = loaded_[number];
    reason_.clear();
    shown_.push_back({now_, seen_});
    const bool again = !began_.insert(number).second;
    if (!again && seen_.rfind("run", 0) == 0) events_.push({now_.steadyMs + 5000, number, 1});
  }
  void Pause(uint64_t number) override {
    EXPECT_TRUE(paused_.insert(number).second) << "paused twice";
  }
  void Resume(uint64_t number) override { EXPECT_EQ(1u, paused_.erase(number)); }
  void Drop(uint64_t number) override {
    EXPECT_EQ(1u, loaded_.erase(number)) << "dropped twice";
    if (number == on_ && reason_.empty()) ++emptyFrames;
    ready_.erase(number);
    paused_.erase(number);
  }
  void ShowReason(const std::string& reason) override {
    reason_ = reason;
    seen_ = "(" + reason + ")";
  }

 private:
  bool IsBad(const std::string& name) const {
    const auto found = broken_.find(name);
    return found != broken_.end() ? found->second : name.rfind("bad", 0) == 0;
  }
  struct Event {
    int64_t atMs;
    uint64_t number;
    int kind;  ///< 0 loaded, 1 ended, 2 failed
    bool operator<(const Event& other) const { return atMs > other.atMs; }
  };

  void Happen(const Event& event) {
    if (loaded_.count(event.number) == 0) return;
    if (event.kind == 0) {
      ready_.insert(event.number);
      director_->OnLoaded(event.number, loaded_[event.number].rfind("never", 0) == 0, now_);
    } else if (paused_.count(event.number) != 0) {
      events_.push({event.atMs + 1000, event.number, event.kind});
    } else {
      director_->OnEnded(event.number, event.kind == 2 ? "it is bad" : "", now_);
    }
  }
  void OnNews(const ZoneNews& news) {
    if (news.kind == ZoneNews::Kind::kShown) shown_.back().reason = news.reason;
    if (news.kind != ZoneNews::Kind::kFailed) return;
    ++failures_;
    failed_.insert(news.content);
  }

  ZoneTime now_;
  std::unique_ptr<ZoneDirector> director_;
  std::priority_queue<Event> events_;
  std::map<uint64_t, std::string> loaded_;
  std::set<uint64_t> ready_;
  std::vector<Shown> shown_;
  size_t asked_ = 0;
  std::map<std::string, bool> broken_;
  std::set<uint64_t> paused_;
  std::set<uint64_t> began_;
  std::set<uint64_t> crashed_;
  uint64_t on_ = 0;
  std::string seen_;
  std::string reason_;
  unsigned failures_ = 0;
  std::set<std::string> failed_;
  std::mt19937 random_{7};
};

inline Moment At(const char* date, const char* time) {
  LocalTime clock(calendar);
  EXPECT_TRUE(clock.Open("Europe/Rome"));
  return clock.Of(*ReadDate(date), *ReadTimeOfDay(time));
}

inline std::string Document(const std::string& playlists, const std::string& schedule = "",
                            const std::string& fallback = "") {
  return R"({"timezone":"Europe/Rome","playlists":{)" + playlists +
         R"(},"zones":[{"name":"main","playlist":"all"}],"schedule":[)" + schedule + "]" +
         (fallback.empty() ? "" : ",\"fallback\":\"" + fallback + "\"") + "}";
}

}  // namespace plexion_host

#endif  // TESTS_HOST_PROGRAMME_VIRTUALSTAGE_H_
