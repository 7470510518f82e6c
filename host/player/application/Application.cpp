// An application from its folder to its picture: loads the parts, and moves script, stage and players
// on together.
#include "host/player/application/Application.h"

#include <math.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/base/ThreadTime.h"
#include "host/player/application/document/Inspection.h"
#include "host/player/application/paint/letters/FontFolders.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host::player::application {

namespace {

constexpr char kDocumentName[] = "application.xml";
constexpr char kFontFolder[] = "fonts";
constexpr double kTolerance = 1e-6;
constexpr std::chrono::milliseconds kLongestFirstWait{3000};
/// A look at every moment would be what costs most.
constexpr double kShortestTrace = 0.1;
/// Until the script hears of them; more are of no use to anybody.
constexpr size_t kMostInputs = 1000;
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

}  // namespace

Application::Application(EngineHost& host, EngineSource& engines, const ApplicationClocks& clocks,
                         IDataAccess* access)
    : host_(host),
      clocks_(clocks),
      notices_(host),
      animations_(stage_),
      texts_(ForDrawing()),
      parts_([this](const std::string& name, uint64_t limit, std::string& text,
                    std::string& reason) { return base_.Read(name, limit, text, reason); }),
      access_(access),
      data_(host),
      pictures_(host.Memory(), [this] { return host_.Cancelled(); }),
      embedded_(stage_, base_, host, engines, notices_),
      painter_(stage_, texts_, embedded_, host.Memory(), ForDrawing()) {}

bool Application::Load(const ContentAddress& content, const StartOptions& options,
                       EngineError& error) {
  std::vector<ScriptReference> scripts;
  if (!OpenFolders(content, error) || !ReadStage(scripts, error)) return false;
  frameRate_ = options.frameRate > 0 ? options.frameRate : stage_.framesPerSecond;
  now_ = static_cast<double>(options.position) / frameRate_;
  knownFailure_ = options.knownFailure;
  if ((host_.Settings().traceFlags & qx::plexion::kTraceFrameRate) != 0) {
    painter_.Costs().Measure(ThreadTimeNs);
    nextTrace_ = now_ + host_.Settings().traceFpsMs / 1000.0;
  }
  if (options.before != nullptr) TakeOver(*options.before);
  host_.ReportProgress(kParsedAt);
  AddFonts();
  LoadStaleResources();
  if (host_.Cancelled()) {
    error.message = "loading was stopped";
    return false;
  }
  host_.ReportProgress(kPicturesAt);
  MakeScriptHost();
  script_->BeginMoment(now_);
  // Asked meanwhile; nobody waits for it.
  data_.Start(stage_.sources, access_);
  if (!script_->Run(scripts, documentName_, error) && !ShowFallback(error)) return false;
  // What the script has set meanwhile, on top of what the document names.
  LoadStaleResources();
  // What the first picture shows is there with it; what takes too long comes when it can.
  TakePlayed(now_, false);
  embedded_.WaitUntilLoaded(kLongestFirstWait);
  if (host_.Cancelled()) {
    error.message = "loading was stopped";
    return false;
  }
  return true;
}

bool Application::ShowFallback(const EngineError& error) {
  Element* scene = stage_.fallback.empty() ? nullptr : stage_.FindScene(stage_.fallback);
  if (scene == nullptr || host_.Cancelled()) return false;
  script_->Calls().Close();
  animations_.StopAll();
  script_->AnimationEnds().Drop(animations_.TakeDropped());
  stage_.Show(*scene, Transition(), now_);
  fallback_ = true;
  failure_ = error.message;
  if (failure_ == knownFailure_) return true;
  notices_.Tell(error.message + "; the application did not start, and its scene \"" +
                stage_.fallback + "\" is shown");
  return true;
}

void Application::OnInput(const InputEvent& event) {
  if (inputs_.size() < kMostInputs) inputs_.push_back(event);
}

void Application::SaveMemory() {
  texts_.SaveMemory();
  painter_.SaveMemory();
  embedded_.SaveMemory();
}

StepResult Application::Advance(const FrameStep& step) {
  PLEXION_CHECK(script_ != nullptr, "an application is loaded before it plays");
  now_ = static_cast<double>(step.position) / frameRate_;
  script_->BeginMoment(now_);
  ElementCosts& costs = painter_.Costs();
  const int64_t began = costs.Now();
  RunScript(step);
  costs.AddScript(began);
  if (costs.IsOn() && now_ >= nextTrace_) TraceCosts();
  const uint64_t next = NextPosition(step);
  frameFollows_ = step.playing && next == step.position + 1;
  return {stage_.Revision() != drawnRevision_, next};
}

DrawResult Application::Draw(const DrawTarget& target, const std::string& problem) {
  fit_ = StageFit::Of(stage_.width, stage_.height, target.dims, FitOf(host_.Settings()));
  const std::string counter = host_.Settings().debugMode
                                  ? "drawn " + std::to_string(draws_ + 1) + "  " +
                                        ShowNumber(floor(now_ * 100) / 100) + " s"
                                  : "";
  const int64_t began = painter_.Costs().Now();
  const DrawResult result = painter_.Draw(target, fit_, {counter, problem});
  if (result.drawn) painter_.Costs().AddDrawing(began);
  if (result.drawn) ++draws_;
  drawnRevision_ = stage_.Revision();
  const bool late = painter_.TouchWhatIsLate();
  // What moves is on its way until its next frame: at once it would be where it is now, and ask again.
  const bool atRest = painter_.TouchWhatIsBesideItsPlace() && !frameFollows_;
  if (late || atRest) host_.RequestFrame();
  // Rarely, and only when there is something to be found.
  if (texts_.Count() > stage_.ElementCount()) {
    texts_.Keep([this](uint32_t handle) { return stage_.FindByHandle(handle) != nullptr; });
  }
  return result;
}

// Loading.

bool Application::OpenFolders(const ContentAddress& content, EngineError& error) {
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

bool Application::ReadStage(std::vector<ScriptReference>& scripts, EngineError& error) {
  error.status = qx::plexion::kErrorInvalidURL;
  if (!documentFolder_.Read(documentName_, kLargestDocument + 1, documentText_, error.message)) {
    return false;
  }
  host_.ReportProgress(kReadAt);
  DocumentError wrong;
  if (ReadDocument(documentText_, parts_, stage_, scripts, wrong)) return true;
  error = {qx::plexion::kErrorCorruptMovie, Describe(documentName_, wrong)};
  return false;
}

void Application::TakeOver(const Application& before) {
  Stage asWritten;
  std::vector<ScriptReference> scripts;
  DocumentError ignored;
  // As they were then, not as their files are now.
  PartLibrary parts([&](const std::string& name, uint64_t, std::string& text, std::string&) {
    const auto found = before.parts_.Parts().find(name);
    if (found != before.parts_.Parts().end()) text = found->second->text;
    return found != before.parts_.Parts().end();
  });
  if (!ReadDocument(before.documentText_, parts, asWritten, scripts, ignored)) return;
  const auto takeOver = [&](Element& element) {
    // What is in a part is no script's of the application, though it may have the same id.
    if (element.id.empty() || stage_.FindById(element.id) != &element) return;
    const Element* then = asWritten.FindById(element.id);
    const Element* last = then == nullptr ? nullptr : before.stage_.FindById(element.id);
    if (last == nullptr || then->kind != element.kind || last->kind != element.kind) return;
    stage_.TakeOver(element, *then, *last);
  };
  stage_.ForEach(takeOver);
  Element* scene = stage_.FindScene(before.stage_.CurrentScene()->id);
  if (scene != nullptr) stage_.Show(*scene, Transition(), now_);
}

void Application::WatchSources(FileWatch& watch, std::set<std::string>& watched) const {
  std::string ignored;
  const auto add = [&](const BaseFolder& folder, const std::string& name) {
    // What is in no folder of its own cannot come to be there either.
    if (!name.empty() && watched.insert(name).second) watch.Add(folder, name, ignored);
  };
  add(documentFolder_, documentName_);
  for (const std::string& part : parts_.Names()) add(base_, part);
  if (script_ != nullptr) {
    for (const std::string& file : script_->ScriptFiles()) add(base_, file);
  }
  stage_.ForEach([&](const Element& element) { add(base_, element.src); });
}

std::vector<std::string> Application::Findings() const {
  return InspectFolder(base_, documentName_, documentText_, parts_, stage_);
}

bool Application::ReadAgain(const std::string& name) {
  bool shown = false;
  stage_.ForEach([&](Element& element) {
    if (element.src != name) return;
    shown = true;
    stage_.Touch(element, *FindProperty(element.kind, "src"));
  });
  return shown;
}

void Application::AddFonts() {
  FontFolders fonts(texts_, notices_, [this] { return host_.Cancelled(); });
  std::string error;
  if (base_.OpenFolder(kFontFolder, error).IsOpen()) fonts.AddBelow(base_, kFontFolder);
  for (const std::string& folder : SplitAt(host_.Settings().fontDirs, ',')) {
    if (!folder.empty() && !fonts.AddOfDevice(folder)) {
      Warn("--fontdirs: no font was found in \"" + PrintableWord(folder) + "\"");
    }
  }
}

void Application::MakeScriptHost() {
  ScriptLimits limits;
  limits.heapBytes = uint64_t{host_.Settings().gcHeapLimitMegabytes} * 1024 * 1024;
  limits.workingTime = clocks_.working;
  limits.cancelled = [this] { return host_.Cancelled(); };
  limits.debug = host_.Settings().debugMode;
  ScriptContext context = {stage_, animations_, texts_,   base_,       extensions_,
                           data_,  host_,       notices_, clocks_.wall};
  script_ = std::make_unique<ScriptHost>(std::move(context), std::move(limits));
}

void Application::LoadStaleResources() {
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

void Application::LoadPicture(Element& element) {
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

void Application::TraceCosts() {
  const std::string costs = painter_.Costs().Take();
  nextTrace_ = now_ + std::max(host_.Settings().traceFpsMs / 1000.0, kShortestTrace);
  IQXKernel* kernel = IQXKernel::GetKernel();
  if (!costs.empty() && kernel != nullptr) kernel->Printf("Cost: %s\n", costs.c_str());
  if (!costs.empty()) host_.Notify(qx::plexion::kInfoNotifyTSTrace, costs);
}

void Application::RunScript(const FrameStep& step) {
  // What went wrong when its time was over.
  script_->DispatchErrors();
  if (!started_) {
    started_ = true;
    // Whatever it was, it has been told.
    if (!script_->Dispatch("start") && !fallback_) {
      ShowFallback({qx::plexion::kErrorFatalPlaybackError, "a handler of \"start\" failed"});
    }
  }
  // Input first: what a key sets in motion moves in the same picture.
  const std::vector<InputEvent> inputs = std::exchange(inputs_, {});
  for (const InputEvent& event : inputs) DispatchInput(event);
  script_->TakeData();
  script_->Files().CallChanged();
  script_->GetTimers().CallDue(now_);

  const std::vector<int> over = animations_.Advance(now_);
  script_->AnimationEnds().Drop(animations_.TakeDropped());
  script_->AnimationEnds().CallFinished(over);
  // After the movements, whose ends may show another scene.
  stage_.AdvanceTransition(now_);
  // Videos, inputs and changed files ask for moments between the frames as well.
  if (step.playing && step.position >= nextFrame_) {
    nextFrame_ = step.position + 1;
    script_->DispatchFrame();
  }
  RunPlayed(step);
  script_->DispatchErrors();
}

void Application::RunPlayed(const FrameStep& step) {
  // Handlers may well make another element play, which has its say in the same moment; but not
  // for ever.
  settled_ = false;
  for (int round = 0; round < kMostRounds && !settled_; ++round) {
    LoadStaleResources();
    TakePlayed(now_, step.playing);
    const std::vector<EmbeddedEvent> events = std::exchange(pending_, {});
    settled_ = events.empty();
    for (const EmbeddedEvent& event : events) script_->DispatchEmbedded(event);
  }
}

void Application::TakePlayed(double now, bool playing) {
  for (EmbeddedEvent& event : embedded_.Advance(now, playing)) pending_.push_back(std::move(event));
}

void Application::DispatchInput(const InputEvent& event) {
  const double x = (event.x - fit_.x) / fit_.scaleX;
  const double y = (event.y - fit_.y) / fit_.scaleY;
  switch (event.kind) {
    case InputEvent::kKeyDown:
      return script_->DispatchKey("keydown", event.code);
    case InputEvent::kKeyUp:
      return script_->DispatchKey("keyup", event.code);
    case InputEvent::kMouseButtonDown:
      return script_->DispatchPointer("down", x, y, event.button + 1);
    case InputEvent::kMouseButtonUp:
      return script_->DispatchPointer("up", x, y, event.button + 1);
    case InputEvent::kMouseMove:
      return script_->DispatchPointer("move", x, y, 0);
    case InputEvent::kScroll:
      return script_->DispatchScroll(DirectionName(event.direction), event.delta);
    case InputEvent::kEventCode:
      return script_->DispatchEventCode(event.code);
    case InputEvent::kActivated:
      script_->Dispatch("activate");
      return;
    case InputEvent::kDeactivated:
      script_->Dispatch("deactivate");
      return;
    case InputEvent::kStageRect:
      return;
  }
}

uint64_t Application::NextPosition(const FrameStep& step) const {
  if (stage_.LeavingScene() != nullptr || !settled_) return step.position + 1;
  // While the script rests, only what moves by itself is due.
  double script = script_->GetTimers().NextMoment();
  if (script_->AnimationEnds().IsWaiting() || script_->HasErrors()) script = now_;
  if (script_->Handlers().Has("frame")) script = now_;
  script = std::max(script, script_->Calls().OpenFrom());
  const double next = std::min({script, animations_.NextMoment(now_), embedded_.NextMoment()});
  if (!isfinite(next)) return kNoFrame;
  // The first frame at which it is due, not the one before.
  const double position = ceil(next * frameRate_ - kTolerance);
  return std::max(step.position + 1, static_cast<uint64_t>(std::max(position, 0.0)));
}

DrawingHost Application::ForDrawing() {
  return {
      [this] { return host_.Cancelled(); },
      [this](const Element& element, const std::string& reason) { notices_.Tell(element, reason); },
      host_.Settings().debugMode};
}

}  // namespace plexion_host::player::application
