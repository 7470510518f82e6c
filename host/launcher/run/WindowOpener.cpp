// From a command line to configured windows.

#include "host/launcher/run/WindowOpener.h"

#include <string_view>
#include <utility>

#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {

using qx::plexion::StageWindow;
using qx::plexion::StageWindowParameters;

bool WindowOpener::Read(const WindowLine& line, StageWindowParameters& parameters) {
  // One locale holds for the windows behind it, too; the service's parser leaves what it finds there.
  parameters.locale = line.locale.empty() ? nullptr : line.locale.c_str();
  // As the service wants it: a program's name first, which it passes over.
  std::vector<const char*> argv = AsArgv("plexion", line.arguments);
  const bool understood = session_.service->ParseCommandLineParameters(
      static_cast<int>(argv.size()) - 1, argv.data(), parameters);
  parameters.memoryLimit = session_.options.memoryLimitBytes;
  return understood && parameters.contentPath != nullptr;
}

void DrawInto(const qx::plexion::Rect& rect, qx::plexion::IPlexionSets& service,
              StageWindowParameters& parameters) {
  parameters.outputRect = rect;
  parameters.contentDims = {rect.width, rect.height};
  StageWindowParameters usual{};
  service.InitParameters(usual);
  // Somebody named a threshold of their own: that counts.
  if (parameters.graphicsMemThreshold != usual.graphicsMemThreshold) return;
  constexpr uint64_t kMegabyte = 1024 * 1024;
  // Two planes of this size, output and render.
  const uint64_t planes = uint64_t{rect.width} * rect.height * sizeof(uint32_t) * 2;
  const uint64_t needed = (planes + kMegabyte - 1) / kMegabyte;
  if (needed > usual.graphicsMemThreshold && usual.graphicsMemThreshold != 0) {
    parameters.graphicsMemThreshold = static_cast<uint32_t>(needed);
  }
}

void WindowOpener::Place(const WindowLine& line, StageWindowParameters& parameters) {
  if (!line.variables.empty()) parameters.morvelVars = line.variables.c_str();
  const auto given = [](const qx::plexion::Dims& dims) {
    return dims.width != 0 || dims.height != 0;
  };
  // Who names a size wants just that.
  if (given(parameters.contentDims) || given(parameters.outputDims)) return;
  qx::plexion::Rect rect = parameters.outputRect;
  if (rect.width == 0 && rect.height == 0) {
    const qx::plexion::Dims screen = session_.GetScreenDims();
    rect.width = screen.width;
    rect.height = screen.height;
  }
  // Drawn at the size at which it is shown: nothing is scaled twice.
  DrawInto(rect, *session_.service, parameters);
}

bool WindowOpener::Check(const WindowLine& line) {
  StageWindowParameters parameters{};
  // Into a record that nobody uses.
  return Read(line, parameters);
}

void WindowOpener::Prepare(const WindowLine& line, IHostPlayer& player) {
  StageWindowParameters usual{};
  StageWindowParameters parameters{};
  session_.service->InitParameters(usual);
  // Another player runtime may play it, of which this one knows nothing.
  if (!Read(line, parameters) || parameters.gl == qx::plexion::kGlOn ||
      std::string_view(parameters.morvelModuleName) != usual.morvelModuleName) {
    return;
  }
  player.Prepare(parameters);
}

std::optional<OpenWindow> WindowOpener::Open(const WindowLine& line) {
  StageWindowParameters parameters{};
  const bool understood = Read(line, parameters);
  if (understood) Place(line, parameters);
  StageWindow* const window =
      understood ? session_.service->CreateStageWindow(parameters) : nullptr;
  // No word yet: as long as no window was ever opened, the service has not printed its banner, and
  // errors before the banner look like another program's.
  if (window == nullptr) {
    unreported_.push_back(&line);
    if (anyOpened_) ReportFailures();
    return std::nullopt;
  }
  anyOpened_ = true;
  const OpenWindow opened = Take(window, line);
  ReportFailures();
  return opened;
}

void WindowOpener::ReportFailures() {
  for (const WindowLine* const line : std::exchange(unreported_, {})) Report(*line);
}

OpenWindow WindowOpener::Take(StageWindow* window, const WindowLine& line) {
  return OpenWindow{window, &line, &session_.windows.Add(window, line)};
}

void WindowOpener::Report(const WindowLine& line) {
  // Once more, by hand: the service only says that it could not, a window says why.
  StageWindow* const window = session_.service->CreateStageWindow();
  if (window == nullptr) {
    session_.ContentError(line.content, {qx::plexion::kErrorNotEnoughMemory, "no window"});
    return;
  }
  const OpenWindow opened = Take(window, line);
  StageWindowParameters parameters{};
  Ending ending{qx::plexion::kErrorNotEnoughMemory, "it could not be configured at first"};
  const bool understood = Read(line, parameters);
  if (understood) Place(line, parameters);
  if (!understood || !window->Configure(parameters)) {
    ending = {window->GetStageWindowStatus(), ""};
    if (const auto reported = opened.observer->GetEnding()) ending = *reported;
  }
  if (ending.status == qx::plexion::kErrorModuleUnavailable && ending.message.empty()) {
    ending.message = MissingRuntime(parameters.gl == qx::plexion::kGlOn);
    runtimeMissing_ = runtimeMissing_ || !ending.message.empty();
  }
  if (ending.message.empty()) ending.message = "the player does not accept its options";
  session_.ContentError(line.content, ending);
  session_.windows.Destroy(window);
}

std::string WindowOpener::MissingRuntime(bool gl) {
  const std::string name = gl ? "IMorvelRuntimeGLLib" : "IMorvelRuntimeLib";
  // The kernel has said where it looked.
  if (session_.kernel.GetModuleError(name).empty()) return {};
  std::string message = "module " + name + " is not available";
  if (gl) message += ", and --gl on needs it: leave --gl out, or";
  if (!gl) message += ":";
  return message + " name its library with --modulemap " + name + ":FILE";
}

}  // namespace plexion_host
