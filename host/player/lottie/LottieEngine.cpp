// Movies as an engine of the player: loads documents, draws what changed into the render plane.
#include "host/player/lottie/LottieEngine.h"

#include <math.h>
#include <string.h>

#include <algorithm>
#include <new>
#include <optional>

#include "host/base/Pixels.h"
#include "host/player/StageFit.h"
#include "host/player/lottie/document/AssetFolder.h"
#include "host/player/lottie/document/MovieFile.h"
#include "host/player/lottie/document/Reader.h"
#include "host/player/lottie/document/Theme.h"
#include "host/player/lottie/paint/Backdrop.h"
#include "host/player/lottie/paint/Images.h"
#include "host/player/lottie/paint/Painter.h"
#include "host/player/lottie/raster/Rows.h"
#include "host/player/lottie/scene/DataFiles.h"
#include "host/player/lottie/scene/MemoryCharge.h"
#include "host/player/lottie/scene/NotDrawn.h"
#include "host/player/lottie/scene/Scene.h"
#include "host/player/lottie/scene/ScriptAccess.h"
#include "host/player/lottie/scene/TextLayer.h"

namespace plexion_host::player {

namespace {

using movie::IntRect;
using movie::Matrix;

// Shares of the work of a load, in percent.
constexpr unsigned kReadAt = 30;
constexpr unsigned kParsedAt = 60;
constexpr unsigned kCheckedAt = 80;

class LottieEngine final : public Engine {
 public:
  explicit LottieEngine(EngineHost& host)
      : host_(host),
        movie_(host.Memory()),
        images_(host.Memory()),
        backdrop_(host.Memory()),
        painter_(host.Memory()),
        charge_(host.Memory()) {}

  bool Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) override {
    try {
      if (!LoadMovie(content, error)) return false;
    } catch (const std::bad_alloc&) {
      error = {qx::plexion::kErrorNotEnoughMemory, "no memory for the movie"};
      return false;
    }
    stageDims_ = {static_cast<uint32_t>(lround(std::max(1.f, movie_.width))),
                  static_cast<uint32_t>(lround(std::max(1.f, movie_.height)))};
    firstFrame_ = round(movie_.in);
    frameCount_ = static_cast<uint64_t>(std::max(1.0, floor(movie_.out - movie_.in)));
    facts.stageDims = stageDims_;
    facts.framesPerSecond = movie_.frameRate;
    facts.frameCount = frameCount_;
    return true;
  }

  StepResult Advance(const FrameStep& step) override {
    StepResult result;
    time_ = firstFrame_ + static_cast<double>(step.frame);
    if (!Evaluate()) {
      failure_ = "no memory to work the frame out";
      return {true, step.position + 1};
    }
    result.changed = !drawn_ || damage_.Count() > 0;
    // Until the picture changes again, or the next pass begins, nobody needs to come back.
    const double still = ceil(holds_.to - firstFrame_);
    const auto frames = static_cast<double>(frameCount_);
    const auto next = static_cast<uint64_t>(std::clamp(still, double(step.frame) + 1, frames));
    result.nextPosition = step.position + (next - step.frame);
    return result;
  }

  DrawResult Draw(const DrawTarget& target) override {
    DrawResult result;
    if (target.dims.width > movie::kLargestStage || target.dims.height > movie::kLargestStage) {
      result.failure = "the render plane is " + std::to_string(target.dims.width) + " x " +
                       std::to_string(target.dims.height) + " pixels; at most " +
                       std::to_string(movie::kLargestStage) + " either way can be drawn";
      return result;
    }
    if (target.dims.width != planeDims_.width || target.dims.height != planeDims_.height) {
      planeDims_ = target.dims;
      toPlane_ = Placement(target.dims);
      evaluated_ = false;
      drawn_ = false;
    }
    if (target.bgAlpha != bgAlpha_) drawn_ = false;
    bgAlpha_ = target.bgAlpha;
    if (!evaluated_ && !Evaluate()) failure_ = "no memory to work the frame out";
    if (!failure_.empty()) {
      std::swap(result.failure, failure_);
      drawn_ = false;
      return result;
    }
    if (target.everything || !drawn_) {
      damage_.Clear();
      damage_.Add({0, 0, int(target.dims.width), int(target.dims.height)});
    }
    if (damage_.Count() == 0) return result;
    try {
      PaintDamage(target, result);
    } catch (const std::bad_alloc&) {
      result.failure = "no memory to draw the frame";
      drawn_ = false;
    }
    return result;
  }

  void SaveMemory() override {
    painter_.SaveMemory();
    backdrop_.SaveMemory();
  }

 private:
  bool LoadMovie(const ContentAddress& content, EngineError& error) {
    const auto cancelled = [this] { return host_.Cancelled(); };
    movie::MovieFile file;
    if (!file.Open(content.path, host_, error)) return false;
    host_.ReportProgress(kReadAt);
    error.status = qx::plexion::kErrorCorruptMovie;
    movie::Arena tree(host_.Memory());
    movie::JsonValue document;
    if (!ReadJson(file.Document(), {}, cancelled, tree, document, error.message)) return false;
    host_.ReportProgress(kParsedAt);
    movie::JsonValue theme;
    if (!file.Theme().empty() &&
        !ReadJson(file.Theme(), {}, cancelled, tree, theme, error.message)) {
      error.message = "theme: " + error.message;
      return false;
    }
    ApplyTheme(theme, tree, document);
    if (!ReadMovie(document, movie_, error.message)) return false;
    host_.ReportProgress(kCheckedAt);
    const movie::AssetFolder folder(content.path);
    const auto read = [&](std::string_view name, uint64_t most, movie::Unpacked& bytes,
                          std::string& reason) {
      return file.IsArchive() ? file.ReadAsset(name, most, host_, bytes, reason)
                              : folder.Read(name, most, host_.Memory(), bytes, reason);
    };
    const auto missing = [this](const movie::ImageAsset& asset, const std::string& reason) {
      host_.Notify(qx::plexion::kInfoUnsupportedPlaceholderRendered,
                   "picture " + movie::Quoted(asset.id) + " is not drawn: " + reason);
    };
    if (!images_.Load(movie_, read, cancelled, missing, error.message)) return false;
    if (movie_.hasExpressions) {
      LoadData(movie_, read, cancelled,
               [this](const movie::DataAsset& asset, const std::string& reason) {
                 host_.Notify(qx::plexion::kInfoUnsupportedPlaceholderRendered,
                              "data " + movie::Quoted(asset.id) + " is not used: " + reason);
               });
    }
    TellNotDrawn(movie_, [this](const std::string& what) {
      host_.Notify(qx::plexion::kInfoUnsupportedPlaceholderRendered, what);
    });
    movie::SceneParts parts;
    parts.image = [this](const movie::ImageAsset& asset) { return images_.Find(asset); };
    parts.text = [this](const movie::Layer& layer) {
      if (layer.text == nullptr) return std::unique_ptr<movie::TextSource>();
      if (texts_ == nullptr) texts_ = MakeTextLayout(movie_);
      return MakeTextSource(layer, texts_, host_.Memory());
    };
    if (movie_.hasExpressions) {
      scripts_.emplace(movie_, host_.Memory());
      parts.scripts = &*scripts_;
    }
    scene_.emplace(movie_, std::move(parts));
    if (scripts_) scripts_->SetScene(*scene_);
    return true;
  }

  Matrix Placement(const qx::plexion::Dims& plane) const {
    const StageFit fit = StageFit::Of(movie_.width, movie_.height, plane, FitOf(host_.Settings()));
    return {fit.scaleX, 0, 0, fit.scaleY, double(fit.x), double(fit.y)};
  }

  /// Works out the moment's list and what in it differs from what was drawn last.
  bool Evaluate() {
    if (planeDims_.width == 0) {
      holds_ = {time_, time_};
      return true;
    }
    if (evaluated_ && (holds_.Holds(time_) || time_ == evaluatedAt_)) return true;
    // Only now, so that the same moment can be drawn again.
    if (listShown_) std::swap(shown_, list_);
    listShown_ = false;
    try {
      if (scripts_) scripts_->BeginFrame();
      holds_ =
          scene_->Evaluate(time_, toPlane_, int(planeDims_.width), int(planeDims_.height), list_);
      evaluated_ = true;
      evaluatedAt_ = time_;
      if (scripts_) {
        scripts_->TellFailures([this](const std::string& what) {
          host_.Notify(qx::plexion::kInfoUnsupportedPlaceholderRendered, what);
        });
      }
      if (!Charge()) throw std::bad_alloc();
      damage_.Clear();
      if (drawn_) comparison_.Compare(shown_, list_, damage_);
    } catch (const std::bad_alloc&) {
      evaluated_ = false;
      return false;
    }
    return true;
  }

  /// Counts what lists, outlines and glyphs hold, now and then: what grows does so step by step.
  /// Returns  false when it is more than the window may have.
  bool Charge() {
    constexpr unsigned kFrames = 30;
    if (charged_++ % kFrames != 0 && list_.size() <= chargedItems_) return true;
    chargedItems_ = list_.size();
    return charge_.Set(scene_->Bytes() + comparison_.Bytes() +
                       (list_.capacity() + shown_.capacity()) * sizeof(movie::DrawItem) +
                       (texts_ != nullptr ? texts_->Bytes() : 0) +
                       (scripts_ ? scripts_->Bytes() : 0));
  }

  void PaintDamage(const DrawTarget& target, DrawResult& result) {
    const movie::Surface plane = {target.pixels, int(target.dims.width), int(target.dims.height),
                                  target.pitchBytes};
    // What blends must not meet the background, which the document knows nothing of.
    const bool under = scene_->BlendsWithBackground();
    const uint32_t background = under ? 0 : uint32_t{target.bgAlpha} << 24;
    const auto stopped = [this] { return host_.Cancelled(); };
    int64_t area = 0;
    for (int i = 0; i < damage_.Count(); ++i) area += AreaOf(damage_[i]);
    painter_.BeginFrame();
    const size_t below =
        backdrop_.Prepare(list_, plane.width, plane.height, background, area, painter_, stopped);
    bool whole = true;
    for (int i = 0; i < damage_.Count() && whole; ++i) {
      const IntRect rect = damage_[i].Cut(plane.Bounds());
      if (below > 0) {
        backdrop_.CopyTo(plane, rect);
      } else {
        for (int y = rect.top; y < rect.bottom; ++y) {
          movie::FillRow(plane.Row(y) + rect.left, background, rect.Width());
        }
      }
      whole = painter_.Paint(list_, below, list_.size(), plane, rect, stopped);
      for (int y = rect.top; under && y < rect.bottom; ++y) {
        LayBlackBelow(plane.Row(y) + rect.left, size_t(rect.Width()), target.bgAlpha);
      }
    }
    const IntRect dirty = damage_.All().Cut(plane.Bounds());
    result.drawn = true;
    result.dirty = {uint32_t(dirty.left), uint32_t(dirty.top), uint32_t(dirty.Width()),
                    uint32_t(dirty.Height())};
    listShown_ = true;
    damage_.Clear();
    drawn_ = whole;
  }

  EngineHost& host_;
  movie::Movie movie_;
  movie::Images images_;
  std::optional<movie::ScriptAccess> scripts_;
  std::optional<movie::Scene> scene_;
  qx::plexion::Dims stageDims_ = {0, 0};
  double firstFrame_ = 0;
  uint64_t frameCount_ = 1;

  double time_ = 0;
  qx::plexion::Dims planeDims_ = {0, 0};
  Matrix toPlane_;
  uint8_t bgAlpha_ = 255;
  movie::Constancy holds_;
  bool evaluated_ = false;
  double evaluatedAt_ = 0;
  bool drawn_ = false;        ///< shown_ is what the plane shows
  movie::DisplayList list_;   ///< of the moment
  movie::DisplayList shown_;  ///< of the last Draw, unless listShown_
  bool listShown_ = false;    ///< list_ has been drawn
  movie::Backdrop backdrop_;
  movie::ListComparison comparison_;
  movie::Damage damage_;
  movie::Painter painter_;
  std::shared_ptr<movie::TextLayout> texts_;
  movie::MemoryCharge charge_;
  unsigned charged_ = 0;     ///< frames
  size_t chargedItems_ = 0;  ///< of the list that was counted last
  std::string failure_;
};

}  // namespace

std::unique_ptr<Engine> MakeLottieEngine(EngineHost& host) {
  return std::make_unique<LottieEngine>(host);
}

}  // namespace plexion_host::player
