// Answers the page from what the operator's commands work on.
#include "host/launcher/commands/LookSource.h"

#include <nlohmann/json.hpp>

#include "host/base/Check.h"
#include "host/launcher/commands/PlayStatus.h"

namespace plexion_host {

namespace {

/// That the page shows.
constexpr size_t kMostMessages = 50;

}  // namespace

uint64_t LookSource::GetFrameCount() {
  const MutexLock lock(context_.mutex);
  return context_.display != nullptr ? context_.display->GetFrameCount() : 0;
}

bool LookSource::CopyScreen(qx::plexion::Dims& dims, std::vector<uint32_t>& pixels) {
  const MutexLock lock(context_.mutex);
  if (context_.display == nullptr) return false;
  context_.display->CopyScreen(dims, pixels);
  return true;
}

std::string LookSource::GetStatus() {
  using Json = nlohmann::ordered_json;
  std::string text;
  std::string error;
  Json status;
  if (StatusText(context_, true, text, error)) {
    // Of our own making, so it parses; as a tree it takes the messages in.
    status = Json::parse(text);
  } else {
    status["error"] = error;
  }
  status["messages"] = kernel_.GetConsole().LastLines(kMostMessages);
  // Names of contents are bytes of the file system: what is no UTF-8 is replaced, and the page gets its
  // answer.
  return status.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string LookSource::GetDay() {
  PlannedDay day;
  std::string error;
  const auto ask = [&](PlayControl& control) { return control.Day("", day, error); };
  return context_.play != nullptr && context_.play->With(error, ask) ? day.svg : std::string();
}

bool LookSource::Act(const std::string& action, std::string& error) {
  PLEXION_CHECK(!action.empty(), "the server names one of its actions");
  if (context_.play == nullptr) return false;
  return context_.play->With(error, [&](PlayControl& control) {
    if (action == "next") return control.Next("", error);
    if (action == "previous") return control.Previous("", error);
    return action == "pause" ? control.Pause("", error) : control.Play("", "", error);
  });
}

}  // namespace plexion_host
