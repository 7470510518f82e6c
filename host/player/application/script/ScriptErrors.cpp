// Tells errors of handlers, each no more often than a log can bear.
#include "host/player/application/script/ScriptErrors.h"

#include <iterator>
#include <utility>

#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

constexpr char kPrefix[] = "TallyScript: ";

/// A reason without what differs from time to time: milliseconds, bytes, what a server says.
std::string KindOf(const std::string& reason) {
  std::string kind;
  bool isQuoted = false;
  for (const char c : reason) {
    if (c == '"') isQuoted = !isQuoted;
    if (!isQuoted && (c < '0' || c > '9')) kind += c;
  }
  return kind;
}

}  // namespace

void ScriptErrors::Add(const std::string& event, const EngineError& error, double now) {
  std::string message = error.message;
  if (message.compare(0, sizeof kPrefix - 1, kPrefix) == 0) message.erase(0, sizeof kPrefix - 1);
  if (failures_.size() < kMostKept) failures_.push_back({event, message});
  Tell(message, kPrefix + message + " (in a handler of \"" + event + "\"; the application goes on)",
       now);
}

void ScriptErrors::AddOfData(const std::string& name, const std::string& reason, double now) {
  const std::string message = name + ": " + reason;
  if (failures_.size() < kMostKept) failures_.push_back({"data", message});
  Tell(name + ": " + KindOf(reason), message + " (what came before stays)", now);
}

void ScriptErrors::Tell(const std::string& key, const std::string& text, double now) {
  auto found = told_.find(key);
  if (found == told_.end() && told_.size() >= kMostTold) {
    // What has been quiet makes room; a script that makes a new message each time gets none.
    for (auto at = told_.begin(); at != told_.end();) {
      at = now - at->second.at >= kQuietSeconds ? told_.erase(at) : std::next(at);
    }
    if (told_.size() >= kMostTold) return;
  }
  const bool isNew = found == told_.end();
  Told& told = isNew ? told_[key] : found->second;
  ++told.since;
  if (!isNew && now - told.at < kQuietSeconds) return;
  const std::string times =
      told.since > 1 ? " (" + std::to_string(told.since) + " times since it was told)" : "";
  told = {now, 0};
  host_.Notify(qx::plexion::kInfoUnsupportedPlaceholderRendered, PrintableWord(text + times));
}

std::vector<ScriptErrors::Failure> ScriptErrors::Take() { return std::exchange(failures_, {}); }

}  // namespace plexion_host::player::application
