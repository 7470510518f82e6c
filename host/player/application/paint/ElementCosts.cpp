// Adds up what elements cost, and names the one that costs most.
#include "host/player/application/paint/ElementCosts.h"

#include <stdio.h>

#include <algorithm>

#include "host/base/Text.h"
#include "host/player/application/stage/Notices.h"

namespace plexion_host::player::application {

namespace {

std::string PerFrame(int64_t spent, uint64_t frames) {
  char text[64];
  snprintf(text, sizeof text, "%.2f ms",
           static_cast<double>(spent) / 1e6 / static_cast<double>(frames));
  return text;
}

}  // namespace

void ElementCosts::AddElement(const Element& element, int64_t began) {
  if (!IsOn()) return;
  Cost& cost = elements_[element.handle];
  if (cost.name.empty()) cost.name = PrintableWord(Describe(element));
  cost.spent += Now() - began;
}

void ElementCosts::AddScript(int64_t began) {
  if (IsOn()) script_ += Now() - began;
}

void ElementCosts::AddDrawing(int64_t began) {
  if (!IsOn()) return;
  drawing_ += Now() - began;
  ++frames_;
}

std::string ElementCosts::Take() {
  std::string text;
  if (frames_ > 0) {
    text = "script " + PerFrame(script_, frames_) + ", drawing " + PerFrame(drawing_, frames_) +
           " a frame";
    const auto slowest = std::max_element(
        elements_.begin(), elements_.end(),
        [](const auto& a, const auto& b) { return a.second.spent < b.second.spent; });
    if (slowest != elements_.end()) {
      text += "; slowest: " + slowest->second.name + " " + PerFrame(slowest->second.spent, frames_);
    }
  }
  elements_.clear();
  script_ = drawing_ = 0;
  frames_ = 0;
  return text;
}

}  // namespace plexion_host::player::application
