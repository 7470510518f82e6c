// The engine for applications: loads the parts, and moves script, stage and players on together.
#include "host/player/application/ApplicationEngine.h"

#include <math.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/player/application/document/Document.h"
#include "host/player/application/embedded/EmbeddedElements.h"
#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/paint/FontFolders.h"
#include "host/player/application/paint/Painter.h"
#include "host/player/application/paint/Picture.h"
#include "host/player/application/paint/TextLayouts.h"
#include "host/player/application/script/ScriptHost.h"
#include "host/player/application/stage/Animations.h"
#include "host/player/application/stage/Notices.h"

namespace plexion_host::player::application {

namespace {

constexpr char kDocumentName[] = "application.xml";
constexpr char kFontFolder[] = "fonts";
constexpr double kTolerance = 1e-6;
constexpr std::chrono::milliseconds kLongestFirstWait{3000};
/// Of handlers that make elements play, whose events call handlers again.
constexpr int kMostRounds = 4;

// Shares of the work of a load, in percent.
constexpr unsigned kReadAt = 10;
constexpr unsigned kParsedAt = 20;
constexpr unsigned kPicturesAt = 90;

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string FileOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

void Warn(const std::string& text) {
  IQXKernel* kernel = IQXKernel::GetKernel();
  if (kernel != nullptr) kernel->Printf("YELLOW ALERT: %s\n", text.c_str());
}

const char* DirectionName(qx::plexion::ScrollWheelDirection direction) {
  switch (direction) {
    case qx::plexion::kScrollWheelUp:
      return "up";
    case qx::plexion::kScrollWheelLeft:
      return "left";
    case qx::plexion::kScrollWheelRight:
      return "right";
    default:
      return "down";
  }
}

class ApplicationEngine final : public Engine {
 public:
  ApplicationEngine(EngineHost& host, EngineSource& engines, ApplicationClocks clocks)
      : host_(host),
        clocks_(std::move(clocks)),
        notices_(host),
        animations_(stage_),
        texts_(ForDrawing()),
        pictures_(host.Memory(), [this] { return host_.Cancelled(); }),
        embedded_(stage_, base_, host, engines, notices_),
        painter_(stage_, texts_, embedded_, host.Memory(), ForDrawing()) {}

  bool Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) override {
    std::vector<ScriptReference> scripts;
    if (!OpenFolders(content, error) || !ReadStage(scripts, error)) return false;
    host_.ReportProgress(kParsedAt);
    AddFonts();
    LoadStaleResources();
    if (host_.Cancelled()) {
      error.message = "loading was stopped";
      return false;
    }
    host_.ReportProgress(kPicturesAt);
    MakeScriptHost();
    if (!script_->Run(scripts, documentName_, error)) return false;
    // What the script has set meanwhile, on top of what the document names.
    LoadStaleResources();
    // What the first picture shows is there with it; what takes too long comes when it can.
    TakePlayed(0, false);
    embedded_.WaitUntilLoaded(kLongestFirstWait);
    if (host_.Cancelled()) {
      error.message = "loading was stopped";
      return false;
    }
    facts.stageDims = {stage_.width, stage_.height};
    facts.framesPerSecond = stage_.framesPerSecond;
    facts.frameCount = 0;
    return true;
  }

  void OnInput(const InputEvent& event) override { inputs_.push_back(event); }

  StepResult Advance(const FrameStep& step) override {
    PLEXION_CHECK(script_ != nullptr, "an application is loaded before it plays");
    // A script that failed is not run again: what it left half done would only fail elsewhere.
    if (failed_) return {false, kNoFrame};
    now_ = static_cast<double>(step.position) / stage_.framesPerSecond;
    script_->BeginMoment(now_);
    EngineError error;
    if (!RunScript(step, error)) {
      failed_ = true;
      host_.Fail(error);
      return {false, kNoFrame};
    }
    return {stage_.Revision() != drawnRevision_, NextPosition(step)};
  }

  DrawResult Draw(const DrawTarget& target) override {
    fit_ = StageFit::Of(stage_, target.dims);
    const std::string counter = host_.Settings().debugMode
                                    ? "drawn " + std::to_string(draws_ + 1) + "  " +
                                          ShowNumber(floor(now_ * 100) / 100) + " s"
                                    : "";
    const DrawResult result = painter_.Draw(target, counter);
    if (result.drawn) ++draws_;
    drawnRevision_ = stage_.Revision();
    // Rarely, and only when there is something to be found.
    if (texts_.Count() > stage_.ElementCount()) {
      texts_.Keep([this](uint32_t handle) { return stage_.FindByHandle(handle) != nullptr; });
    }
    return result;
  }

 private:
  // Loading.

  bool OpenFolders(const ContentAddress& content, EngineError& error) {
    struct stat status = {};
    const bool isFolder = stat(content.path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    const std::string folder = isFolder ? content.path : FolderOf(content.path);
    documentName_ = isFolder ? kDocumentName : FileOf(content.path);
    error.status = qx::plexion::kErrorInvalidURL;
    if (!documentFolder_.Open(folder, error.message)) return false;

    // Files are looked up below the ZOR base when the document was named; a folder is its own base.
    std::string base = folder;
    const std::string& zorBase = host_.Settings().zorBase;
    if (!isFolder && !zorBase.empty()) {
      ContentAddress address;
      if (!ResolveContentAddress(zorBase, "", address, error.message)) return false;
      if (address.path.empty()) {
        error.message = "the ZOR base \"" + zorBase + "\" is not a local folder";
        return false;
      }
      base = address.path;
    }
    if (!base_.Open(base, error.message)) return false;
    // Most devices have no extensions; one that names a folder wants to know that it is not there.
    std::string reason;
    const std::string& extensions = host_.Settings().extensionsDir;
    if (!extensions.empty() && !extensions_.Open(extensions, reason)) {
      Warn("--extensionsdir: " + reason);
    }
    return true;
  }

  bool ReadStage(std::vector<ScriptReference>& scripts, EngineError& error) {
    std::string text;
    error.status = qx::plexion::kErrorInvalidURL;
    if (!documentFolder_.Read(documentName_, kLargestDocument + 1, text, error.message))
      return false;
    host_.ReportProgress(kReadAt);
    DocumentError wrong;
    if (ReadDocument(text, stage_, scripts, wrong)) return true;
    error = {qx::plexion::kErrorCorruptMovie, Describe(documentName_, wrong)};
    return false;
  }

  void AddFonts() {
    FontFolders fonts(texts_, notices_, [this] { return host_.Cancelled(); });
    std::string error;
    if (base_.OpenFolder(kFontFolder, error).IsOpen()) fonts.AddBelow(base_, kFontFolder);
    for (const std::string& folder : SplitAt(host_.Settings().fontDirs, ',')) {
      if (!folder.empty() && !fonts.AddOfDevice(folder)) {
        Warn("--fontdirs: no font was found in \"" + PrintableWord(folder) + "\"");
      }
    }
  }

  void MakeScriptHost() {
    ScriptLimits limits;
    limits.heapBytes = uint64_t{host_.Settings().gcHeapLimitMegabytes} * 1024 * 1024;
    limits.workingTime = clocks_.working;
    limits.cancelled = [this] { return host_.Cancelled(); };
    limits.debug = host_.Settings().debugMode;
    ScriptContext context = {stage_,      animations_, texts_,   base_,
                             extensions_, host_,       notices_, clocks_.wall};
    script_ = std::make_unique<ScriptHost>(std::move(context), std::move(limits));
  }

  void LoadStaleResources() {
    for (const uint32_t handle : stage_.TakeStale()) {
      Element* element = stage_.FindByHandle(handle);
      if (element == nullptr) continue;
      if (host_.Cancelled()) return;
      element->resourceStale = false;
      if (element->kind != ElementKind::kImage) {
        embedded_.Restart(handle);
        continue;
      }
      element->resource = nullptr;
      element->failure.clear();
      stage_.TouchPicture(*element);
      LoadPicture(*element);
    }
  }

  void LoadPicture(Element& element) {
    if (element.src.empty()) return;
    std::string error;
    const OpenFile file = base_.OpenRegular(element.src, error);
    std::shared_ptr<Picture> picture;
    if (file.IsOpen()) picture = pictures_.Open(file, error);
    if (picture == nullptr) {
      element.failure = error;
      pending_.push_back({element.handle, EmbeddedEvent::kFailed, error});
      notices_.Tell(element, error);
      return;
    }
    if (picture->still.incomplete) {
      notices_.Tell(element, "the file ends before the picture does; what is missing is not drawn");
    }
    if (element.width == 0 && element.height == 0) {
      element.width = picture->still.width;
      element.height = picture->still.height;
    }
    element.resource = std::move(picture);
  }

  // Playing.

  bool RunScript(const FrameStep& step, EngineError& error) {
    if (!started_) {
      started_ = true;
      if (!script_->Dispatch("start", error)) return false;
    }
    // Input first: what a key sets in motion moves in the same picture.
    const std::vector<InputEvent> inputs = std::exchange(inputs_, {});
    for (const InputEvent& event : inputs) {
      if (!DispatchInput(event, error)) return false;
    }
    if (!script_->Files().CallChanged(error) || !script_->GetTimers().CallDue(now_, error))
      return false;

    const std::vector<int> over = animations_.Advance(now_);
    script_->AnimationEnds().Drop(animations_.TakeDropped());
    if (!script_->AnimationEnds().CallFinished(over, error)) return false;
    // After the movements, whose ends may show another scene.
    stage_.AdvanceTransition(now_);
    // Videos, inputs and changed files ask for moments between the frames as well.
    if (step.playing && step.position >= nextFrame_) {
      nextFrame_ = step.position + 1;
      if (!script_->DispatchFrame(error)) return false;
    }
    return RunPlayed(step, error);
  }

  bool RunPlayed(const FrameStep& step, EngineError& error) {
    // Handlers may well make another element play, which has its say in the same moment; but not
    // for ever.
    settled_ = false;
    for (int round = 0; round < kMostRounds && !settled_; ++round) {
      LoadStaleResources();
      TakePlayed(now_, step.playing);
      const std::vector<EmbeddedEvent> events = std::exchange(pending_, {});
      settled_ = events.empty();
      for (const EmbeddedEvent& event : events) {
        if (!script_->DispatchEmbedded(event, error)) return false;
      }
    }
    return true;
  }

  void TakePlayed(double now, bool playing) {
    for (EmbeddedEvent& event : embedded_.Advance(now, playing))
      pending_.push_back(std::move(event));
  }

  bool DispatchInput(const InputEvent& event, EngineError& error) {
    const double x = (event.x - fit_.offsetX) / fit_.scaleX;
    const double y = (event.y - fit_.offsetY) / fit_.scaleY;
    switch (event.kind) {
      case InputEvent::kKeyDown:
        return script_->DispatchKey("keydown", event.code, error);
      case InputEvent::kKeyUp:
        return script_->DispatchKey("keyup", event.code, error);
      case InputEvent::kMouseButtonDown:
        return script_->DispatchPointer("down", x, y, event.button + 1, error);
      case InputEvent::kMouseButtonUp:
        return script_->DispatchPointer("up", x, y, event.button + 1, error);
      case InputEvent::kMouseMove:
        return script_->DispatchPointer("move", x, y, 0, error);
      case InputEvent::kScroll:
        return script_->DispatchScroll(DirectionName(event.direction), event.delta, error);
      case InputEvent::kEventCode:
        return script_->DispatchEventCode(event.code, error);
      case InputEvent::kActivated:
        return script_->Dispatch("activate", error);
      case InputEvent::kDeactivated:
        return script_->Dispatch("deactivate", error);
      case InputEvent::kStageRect:
        break;
    }
    return true;
  }

  uint64_t NextPosition(const FrameStep& step) const {
    if (script_->Handlers().Has("frame") || stage_.LeavingScene() != nullptr || !settled_) {
      return step.position + 1;
    }
    const double next = std::min(
        {script_->GetTimers().NextMoment(), animations_.NextMoment(now_), embedded_.NextMoment()});
    if (!isfinite(next)) return kNoFrame;
    // The first frame at which it is due, not the one before.
    const double position = ceil(next * stage_.framesPerSecond - kTolerance);
    return std::max(step.position + 1, static_cast<uint64_t>(std::max(position, 0.0)));
  }

  DrawingHost ForDrawing() {
    return {[this] { return host_.Cancelled(); },
            [this](const Element& element, const std::string& reason) {
              notices_.Tell(element, reason);
            }};
  }

  EngineHost& host_;
  const ApplicationClocks clocks_;
  Notices notices_;
  Stage stage_;
  Animations animations_;
  TextLayouts texts_;
  std::string documentName_;
  BaseFolder documentFolder_;
  BaseFolder base_;
  BaseFolder extensions_;
  PictureCache pictures_;
  EmbeddedElements embedded_;
  Painter painter_;
  std::unique_ptr<ScriptHost> script_;
  std::vector<InputEvent> inputs_;
  std::vector<EmbeddedEvent> pending_;  ///< not told to the script yet
  StageFit fit_;
  double now_ = 0;
  uint64_t nextFrame_ = 0;
  bool settled_ = true;  ///< nothing was left over for the next moment
  bool started_ = false;
  bool failed_ = false;
  uint64_t drawnRevision_ = 0;
  uint64_t draws_ = 0;
};

}  // namespace

std::unique_ptr<Engine> MakeApplicationEngine(EngineHost& host, EngineSource& engines,
                                              ApplicationClocks clocks) {
  return std::make_unique<ApplicationEngine>(host, engines, std::move(clocks));
}

}  // namespace plexion_host::player::application
