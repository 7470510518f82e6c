#include "host/player/application/PlayedElements.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace plexion_host::player::application {

void PlayedElements::CollectSeen(Element& element, std::vector<Element*>& seen) {
  if (!element.visible || element.opacity <= 0) return;
  const bool played = element.kind == ElementKind::kMovie || element.kind == ElementKind::kMedia;
  if (played && !element.src.empty()) seen.push_back(&element);
  for (const auto& child : element.children) CollectSeen(*child, seen);
}

void PlayedElements::Refuse(const Element& element, const std::string& reason) {
  host_.Notify(qx::plexion::kInfoUnsupportedPlaceholderRendered,
               std::string("<") + NameOf(element.kind) + "> \"" + element.src + "\": " + reason);
}

PlayedElements::Playing PlayedElements::Open(Element& element, double now) {
  Playing playing;
  playing.began = now;
  std::string error;
  OpenFile file = base_.OpenRegular(element.src, error);
  if (!file.IsOpen()) {
    Refuse(element, error);
    return playing;
  }
  auto player = std::make_shared<EmbeddedPlayer>(host_, engines_);
  if (!player->Load(std::move(file), element.src, element.loop, element.speed, error)) {
    Refuse(element, error);
    return playing;
  }
  if (element.width == 0 && element.height == 0) {
    element.width = player->AuthoredDims().width;
    element.height = player->AuthoredDims().height;
  }
  playing.player = std::move(player);
  return playing;
}

std::vector<uint32_t> PlayedElements::Advance(double now, bool playing) {
  ++round_;
  std::vector<Element*> seen;
  CollectSeen(stage_.Backdrop(), seen);
  CollectSeen(*stage_.CurrentScene(), seen);
  if (Element* leaving = stage_.LeavingScene()) CollectSeen(*leaving, seen);
  CollectSeen(stage_.Overlay(), seen);

  std::vector<uint32_t> ended;
  for (Element* element : seen) {
    auto found = players_.find(element->handle);
    if (found == players_.end()) {
      found = players_.emplace(element->handle, Open(*element, now)).first;
      element->resource = found->second.player;
      stage_.TouchPicture(*element);
    }
    Playing& each = found->second;
    each.round = round_;
    if (each.player == nullptr) continue;
    if (each.player->Advance(now - each.began, playing)) stage_.TouchPicture(*element);
    if (!each.player->TakeEnded()) continue;
    const std::string failure = each.player->Failure();
    if (!failure.empty()) Refuse(*element, failure);
    ended.push_back(element->handle);
  }
  for (auto at = players_.begin(); at != players_.end();) {
    if (at->second.round == round_) {
      ++at;
      continue;
    }
    if (Element* element = stage_.FindByHandle(at->first)) element->resource = nullptr;
    at = players_.erase(at);
  }
  return ended;
}

double PlayedElements::NextMoment() const {
  double next = std::numeric_limits<double>::infinity();
  for (const auto& each : players_) {
    if (each.second.player == nullptr) continue;
    next = std::min(next, each.second.began + each.second.player->NextMoment());
  }
  return next;
}

PlayedPixels PlayedElements::Render(Element& element, uint32_t width, uint32_t height) {
  const auto found = players_.find(element.handle);
  if (found == players_.end() || found->second.player == nullptr) return {};
  return found->second.player->Render(width, height);
}

}  // namespace plexion_host::player::application
