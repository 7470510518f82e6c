// Opens, moves on and gives back what movie and media elements play.
#include "host/player/application/embedded/EmbeddedElements.h"

#include <math.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "host/base/Check.h"

namespace plexion_host::player::application {

namespace {

constexpr std::chrono::milliseconds kGlance{20};
constexpr long kLargestSide = 8192;

bool IsPlayed(const Element& element) {
  return element.kind == ElementKind::kMovie || element.kind == ElementKind::kMedia;
}

}  // namespace

void EmbeddedElements::CollectWanted(Element& element, bool seen) {
  // As the painter sees it: what it would not draw does not play either.
  seen = seen && element.visible && element.opacity > 0 && element.scale > 0;
  if (IsPlayed(element) && !element.src.empty() && (seen || element.preload)) {
    wanted_.emplace_back(&element, seen);
  }
  for (const auto& child : element.children) CollectWanted(*child, seen);
}

void EmbeddedElements::Refuse(Element& element, const std::string& reason) {
  element.playState = PlayState::kFailed;
  element.failure = reason;
  notices_.Tell(element, reason);
  events_.push_back({element.handle, EmbeddedEvent::kFailed, reason});
}

void EmbeddedElements::Retire(std::shared_ptr<EmbeddedPlayer> player) {
  // A player that is ready can be destroyed at once. One that is still being opened would be waited
  // for, so it is told to give up and kept until it has.
  if (player == nullptr || player->TakeLoaded() != EmbeddedPlayer::State::kLoading) return;
  player->Cancel();
  retired_.push_back(std::move(player));
}

size_t EmbeddedElements::OpenPlayers() const {
  size_t count = retired_.size();
  for (const auto& each : players_) {
    count += each.second.shown != nullptr || each.second.coming != nullptr ? 1 : 0;
  }
  return count;
}

void EmbeddedElements::Restart(uint32_t element) {
  const auto found = players_.find(element);
  if (found != players_.end()) found->second.restart = true;
}

EmbeddedPlayer::Content EmbeddedElements::Find(const Element& element, std::string& error) const {
  EmbeddedPlayer::Content content;
  content.name = element.src;
  constexpr size_t kPrefix = sizeof kStreamPrefix - 1;
  if (element.src.compare(0, kPrefix, kStreamPrefix) != 0) {
    content.file = base_.OpenRegular(element.src, error);
    return content;
  }
  for (const DataSource& source : stage_.sources) {
    if (source.isStream && element.src.compare(kPrefix, std::string::npos, source.id) == 0) {
      content.address = source.address;
    }
  }
  if (content.address.empty()) {
    error = "the stream is not declared; expected <stream id=\"...\" address=\"...\"/>";
  }
  return content;
}

void EmbeddedElements::Open(Element& element, Playing& each) {
  PLEXION_CHECK(IsPlayed(element), "only movies and media have players");
  each.restart = false;
  Retire(std::move(each.coming));
  each.coming = nullptr;
  element.failure.clear();
  std::string error;
  EmbeddedPlayer::Content content;
  PlayerSettings own;
  own.morvelVars = element.vars;
  if (each.shown == nullptr && OpenPlayers() >= kMostPlayers) {
    error = "there are " + std::to_string(kMostPlayers) +
            " movies and media already, which is the most that play at once";
  } else if (!element.vars.empty() && !ReadMorvelVars(own, error)) {
    error = "vars: " + error;
  } else {
    // What it does not say itself is the window's.
    const bool ownProfile = element.vars.find("profile=") != std::string::npos;
    if (!own.variables.empty() && !ownProfile) own.variables.pop_back();
    content = Find(element, error);
  }
  if (!error.empty()) {
    each.shown = nullptr;
    element.resource = nullptr;
    stage_.TouchPicture(element);
    Refuse(element, error);
    return;
  }
  // What was shown stays until this one is ready: no picture is ever without either.
  each.coming = std::make_shared<EmbeddedPlayer>(host_, engines_);
  each.coming->SetVolume(element.volume * volume_);
  each.coming->Open(std::move(content), element.loop, element.speed, own.variables);
  element.playState = PlayState::kLoading;
  if (each.shown == nullptr) element.resource = each.coming;
}

void EmbeddedElements::TakeComing(Element& element, Playing& each) {
  const EmbeddedPlayer::State state = each.coming->TakeLoaded();
  if (state == EmbeddedPlayer::State::kLoading) return;
  // Whatever comes of it, it is not coming any more.
  const std::shared_ptr<EmbeddedPlayer> player = std::exchange(each.coming, nullptr);
  stage_.TouchPicture(element);
  if (state == EmbeddedPlayer::State::kFailed) {
    each.shown = nullptr;
    element.resource = nullptr;
    Refuse(element, player->Failure());
    return;
  }
  if (element.width == 0 && element.height == 0) {
    element.width = player->AuthoredDims().width;
    element.height = player->AuthoredDims().height;
  }
  if (savesMemory_) player->SaveMemory();
  each.shown = player;
  element.resource = player;
  element.playState = PlayState::kReady;
  events_.push_back({element.handle, EmbeddedEvent::kReady, ""});
}

void EmbeddedElements::SaveMemory() {
  savesMemory_ = true;
  for (auto& [element, each] : players_) {
    if (each.shown != nullptr) each.shown->SaveMemory();
  }
}

void EmbeddedElements::Move(Element& element, bool seen, double now, bool playing) {
  Playing& each = players_[element.handle];
  each.round = round_;
  // What comes to be seen once more plays from its beginning; so it is made ready for that as soon
  // as it is out of sight.
  if (each.wasSeen && !seen) each.restart = true;
  each.wasSeen = seen;
  if (each.restart) Open(element, each);
  if (each.coming != nullptr) TakeComing(element, each);
  if (each.shown == nullptr) return;
  for (const std::string& notice : each.shown->TakeNotices()) notices_.Tell(element, notice);
  each.shown->SetVolume(element.volume * volume_);
  // A window that is paused pauses what plays inside of it.
  const bool plays = playing && seen && !element.paused;
  if (plays && element.playState == PlayState::kReady) element.playState = PlayState::kPlaying;
  if (each.shown->Advance(now, plays)) stage_.TouchPicture(element);
  // The end of what is about to be replaced is nobody's business.
  if (!each.shown->TakeEnded() || each.coming != nullptr) return;
  const std::string failure = each.shown->Failure();
  if (!failure.empty()) {
    Refuse(element, failure);
    return;
  }
  element.playState = PlayState::kEnded;
  events_.push_back({element.handle, EmbeddedEvent::kEnded, ""});
}

std::vector<EmbeddedEvent> EmbeddedElements::Advance(double now, bool playing) {
  // Whoever is not wanted in this round gives its player back below.
  ++round_;
  wanted_.clear();
  CollectWanted(stage_.Backdrop(), true);
  for (const auto& scene : stage_.Scenes()) {
    const Element* root = scene.get();
    CollectWanted(*scene, root == stage_.CurrentScene() || root == stage_.LeavingScene());
  }
  CollectWanted(stage_.Overlay(), true);
  for (const auto& [element, seen] : wanted_) Move(*element, seen, now, playing);

  for (auto at = players_.begin(); at != players_.end();) {
    if (at->second.round == round_) {
      ++at;
      continue;
    }
    if (Element* element = stage_.FindByHandle(at->first)) {
      element->resource = nullptr;
      element->playState = PlayState::kIdle;
    }
    Retire(std::move(at->second.coming));
    at = players_.erase(at);
  }
  retired_.erase(std::remove_if(retired_.begin(), retired_.end(),
                                [](const auto& player) {
                                  return player->TakeLoaded() != EmbeddedPlayer::State::kLoading;
                                }),
                 retired_.end());
  return std::exchange(events_, {});
}

void EmbeddedElements::WaitUntilLoaded(std::chrono::milliseconds most) {
  const auto end = std::chrono::steady_clock::now() + most;
  for (const auto& each : players_) {
    EmbeddedPlayer* player = each.second.coming.get();
    if (player == nullptr) continue;
    // In glances, so that the end of the content is seen while a file hangs.
    while (!host_.Cancelled() && player->TakeLoaded() == EmbeddedPlayer::State::kLoading &&
           std::chrono::steady_clock::now() < end) {
      player->WaitUntilLoaded(kGlance);
    }
  }
}

double EmbeddedElements::NextMoment() const {
  double next = std::numeric_limits<double>::infinity();
  for (const auto& each : players_) {
    if (each.second.shown != nullptr) next = std::min(next, each.second.shown->NextMoment());
  }
  return next;
}

EmbeddedPixels EmbeddedElements::Render(Element& element, double width, double height) {
  const auto found = players_.find(element.handle);
  if (found == players_.end() || found->second.shown == nullptr) return {};
  EmbeddedPlayer& player = *found->second.shown;
  const qx::plexion::Dims authored = player.AuthoredDims();
  const double scaleX = width / authored.width;
  const double scaleY = height / authored.height;
  const double scale =
      element.fit == kFitContain ? std::min(scaleX, scaleY) : std::max(scaleX, scaleY);
  // At least a pixel: an engine cannot draw into nothing.
  const auto side = [scale](uint32_t units) {
    return static_cast<uint32_t>(std::clamp(lround(units * scale), 1L, kLargestSide));
  };
  const uint32_t renderWidth = side(authored.width);
  const uint32_t renderHeight = side(authored.height);
  size_t others = 0;
  for (const auto& each : players_) {
    if (each.second.shown != nullptr) others += each.second.shown->PixelBytes();
  }
  PLEXION_CHECK(others >= player.PixelBytes(), "the player is one of those that were counted");
  others -= player.PixelBytes();
  const bool hasRoom =
      others + size_t{renderWidth} * renderHeight * sizeof(uint32_t) <= kMostEmbeddedBytes;
  const EmbeddedPixels pixels =
      hasRoom ? player.Render(renderWidth, renderHeight) : EmbeddedPixels();
  if (pixels.pixels == nullptr) {
    notices_.Tell(element, "no memory for a picture of " + std::to_string(renderWidth) + "x" +
                               std::to_string(renderHeight) + " pixels; all movies and media " +
                               "together have " + std::to_string(kMostEmbeddedBytes / 1048576) +
                               " MB");
  }
  return pixels;
}

}  // namespace plexion_host::player::application
