// The journal as text.

#include "sim/schedule/Journal.h"

#include <cinttypes>
#include <cstdio>

#include "qx/core/Check.h"

namespace plexion_sim {

void Journal::Add(Nanoseconds time, const std::string& thread, const char* call,
                  std::string detail) {
  // Off where schedules are explored by the thousand: the texts would take most of the time.
  if (on_) entries_.push_back({time, thread, call, std::move(detail)});
}

std::string Journal::ToText() const {
  std::string text;
  for (const Entry& entry : entries_) {
    char head[96];
    std::snprintf(head, sizeof head, "%8" PRId64 ".%06" PRId64 "  %-26s ",
                  entry.time / kMillisecond, entry.time % kMillisecond, entry.thread.c_str());
    text += head;
    text += entry.call;
    text += "(" + entry.detail + ")\n";
  }
  return text;
}

size_t Journal::Count(const std::string& call, const std::string& part) const {
  QX_CHECK(!call.empty(), "a call is looked for by its name");
  size_t count = 0;
  for (const Entry& entry : entries_) {
    if (call == entry.call && entry.detail.find(part) != std::string::npos) ++count;
  }
  return count;
}

}  // namespace plexion_sim
