// Drives one instance as a window would, and listens.

#include "kit/certify/bench/PlayerStage.h"

#include <cstring>

#include "qx/plexion/StageWindowParameters.h"

namespace plexion_certify {

using qx::core::morvellib::IMorvelRuntimeLib;
using qx::core::morvellib::MorvelInstance;
using qx::core::morvellib::MorvelInstanceParameters;
using namespace qx::plexion;  // statuses

IMorvelRuntimeLib& PlayerUnderTest(Case& c) {
  IQXModule* const module = c.GetBench().Ledger().AcquireModule("IMorvelRuntimeLib");
  CERTIFY_REQUIRE(c, module != nullptr, "the module IMorvelRuntimeLib",
                  c.GetBench().Ledger().WhyNot("IMorvelRuntimeLib"));
  return *static_cast<IMorvelRuntimeLib*>(module);
}

std::string ContentOf(Case& c) {
  if (c.GetOptions().content.empty()) {
    c.Skip("no content to play: --content FILE names one of two seconds or more that ends");
  }
  return c.GetOptions().content;
}

PlayerStage::PlayerStage(Case& c, const std::string& content)
    : window(c.GetBench().Ledger()),
      c_(c),
      runtime_(PlayerUnderTest(c)),
      content_(content.empty() ? ContentOf(c) : content) {
  Do("CreateMorvelInstance", [&] { instance_ = runtime_.CreateMorvelInstance(&window); });
  CERTIFY_REQUIRE(c, instance_ != nullptr, "a player instance", "null");
}

PlayerStage::~PlayerStage() {
  Destroy();
  graphics.DestroyRenderPlane(plane);
}

void PlayerStage::Destroy() {
  if (destroyed_.exchange(true) || instance_ == nullptr) return;
  Do("DestroyMorvelInstance", [&] { runtime_.DestroyMorvelInstance(instance_); });
  instance_ = nullptr;
}

void PlayerStage::Do(const std::string& what, const std::function<void()>& call) {
  c_.Step(what);
  char here = 0;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    doing_ = what;
    doer_ = pthread_self();
    doersStack_ = &here;
  }
  call();
  const std::lock_guard<std::mutex> lock(mutex_);
  doing_.clear();
}

void PlayerStage::CheckCaller(const char* what) {
  char here = 0;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!checksCaller || doing_.empty() || pthread_equal(doer_, pthread_self()) == 0) return;
  // A kernel with a scheduler of its own has several stacks on one thread of the system.
  const ptrdiff_t deeper = doersStack_ - &here;
  if (deeper < 0 || deeper > 60000) return;
  CERTIFY_EXPECT(c_, false, std::string(what) + " on the player's own thread",
                 "it came from inside of " + doing_);
}

bool PlayerStage::Configure() {
  StageWindowParameters from;
  // Null pointers and zeros; what is borrowed lies in memory that changes as soon as Configure has returned.
  memset(static_cast<void*>(&from), 0, sizeof(from));
  std::vector<char> borrowed(content_.begin(), content_.end());
  borrowed.push_back('\0');
  from.contentPath = borrowed.data();
  from.outputPlaneName = "certify";
  from.createOutputPlane = true;
  bool configured = false;
  {
    MorvelInstanceParameters to;
    Do("FillInstanceParameters", [&] { runtime_.FillInstanceParameters(to, from); });
    to.notifier = this;
    to.moduleName.Assign("IMorvelRuntimeLib");
    Do("Configure", [&] { configured = instance_->Configure(to); });
  }
  std::fill(borrowed.begin(), borrowed.end() - 1, '#');
  memset(static_cast<void*>(&from), 0xA5, sizeof(from));
  return configured;
}

void PlayerStage::ConfigureAndLoad() {
  CERTIFY_REQUIRE(c_, Configure(), "Configure answers true", "false");
  bool accepted = false;
  Do("LoadMVXAsync", [&] { accepted = instance_->LoadMVXAsync(); });
  CERTIFY_REQUIRE(c_, accepted, "LoadMVXAsync answers true", "false");
  c_.Step("waiting for kStatusReadyToAnimate");
  const bool ready = WaitFor(kStatusReadyToAnimate);
  CERTIFY_REQUIRE(c_, ready, "kStatusReadyToAnimate announced",
                  ready ? "" : NameOf(instance_->GetStageWindowStatus()) + " after ten seconds");
}

void PlayerStage::GivePlane(uint32_t width, uint32_t height) {
  plane = static_cast<BenchRenderPlane*>(graphics.CreateRenderPlane({width, height}, 0, &window));
  bool taken = false;
  Do("SetRenderPlane", [&] { taken = instance_->SetRenderPlane(plane); });
  CERTIFY_REQUIRE(c_, taken, Text("SetRenderPlane of a plane of %ux%u answers true", width, height),
                  "false");
}

void PlayerStage::PlayFrames(int frames) {
  bool accepted = false;
  Do("Play", [&] { accepted = instance_->Play(); });
  CERTIFY_REQUIRE(c_, accepted, "Play answers true", "false");
  c_.Step("waiting for kStatusPlaying and frames");
  CERTIFY_REQUIRE(c_, WaitFor(kStatusPlaying), "kStatusPlaying announced",
                  NameOf(instance_->GetStageWindowStatus()) + " after ten seconds");
  CERTIFY_REQUIRE(c_, WaitForFrames(frames), Text("%d frames announced", frames),
                  Text("%d", Frames()));
}

bool PlayerStage::WaitFor(Status status, int milliseconds) {
  return c_.Until([&] { return WasHeard(status); }, milliseconds);
}

bool PlayerStage::WaitForFrames(int frames, int milliseconds) {
  return c_.Until([&] { return frames_ >= frames; }, milliseconds);
}

bool PlayerStage::WasHeard(Status status) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::any_of(heard_.begin(), heard_.end(),
                     [status](const Heard& heard) { return heard.status == status; });
}

std::vector<Heard> PlayerStage::All() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return heard_;
}

void PlayerStage::OnMorvelInstanceNotification(Status status, const StageWindowStatusData* data) {
  CheckCaller("OnMorvelInstanceNotification");
  ++count_;
  const Status answered = instance_ != nullptr ? instance_->GetStageWindowStatus() : status;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool hasRect = data != nullptr && data->rect != nullptr;
    heard_.push_back({status, hasRect, hasRect ? *data->rect : Rect{}, answered, pthread_self()});
  }
  if (status == kInfoRenderPlaneUpdated) ++frames_;
  if (whenHeard) whenHeard(status);
}

void PlayerStage::OnMorvelInstanceInterFrameNotification() {
  CheckCaller("OnMorvelInstanceInterFrameNotification");
  ++count_;
  if (whenBetweenFrames) whenBetweenFrames();
  ++betweenFrames_;  // who waits for it reads what the call has written
}

std::string PlayerStage::NameOf(Status status) {
  static const char* const names[] = {
      "kStatusUnconfigured",   "kStatusConfigured", "kStatusLoading", "kStatusLoaded",
      "kStatusReadyToAnimate", "kStatusPlaying",    "kStatusPaused",  "kStatusComplete"};
  if (status >= 0 && status < 8) return names[status];
  return Text(IsTerminalStatus(status) ? "error status %d" : "event %d", static_cast<int>(status));
}

}  // namespace plexion_certify
