#include "host/launcher/run/WindowOpener.h"

#include "qx/plexion/StageWindowParameters.h"
#include "qx/plexion/StageWindowSet.h"

namespace plexion_host {

using qx::plexion::StageWindow;

bool WindowOpener::OpenAll(const std::vector<WindowLine>& lines, std::vector<OpenWindow>& opened) {
  for (size_t first = 0; first < lines.size();) {
    if (session_.options.memoryLimitBytes != 0) {
      // The service's own way from a command line to windows knows no limit.
      if (const auto window = OpenAlone(lines[first])) opened.push_back(*window);
      ++first;
      continue;
    }
    std::vector<const char*> argv{"plexion"};
    if (first > 0 && !lines[first - 1].locale.empty()) {
      // The service hands the locale on from one window to the next, within one call.
      argv.insert(argv.end(), {"--locale", lines[first - 1].locale.c_str()});
    }
    for (size_t i = first; i < lines.size(); ++i) {
      for (const std::string& argument : lines[i].arguments) argv.push_back(argument.c_str());
    }
    qx::plexion::StageWindowSet set;
    const QXError result = session_.service->CreateAndConfigureStageWindowSet(
        set, static_cast<int>(argv.size()), argv.data(), kMaxStageWindows);
    if (result == QXError_Usage) {
      session_.service->DestroyStageWindowSet(set);
      for (const OpenWindow& window : opened) session_.windows.Destroy(window.window);
      opened.clear();
      return false;
    }
    for (unsigned i = 0; i < set.Count(); ++i) opened.push_back(Take(set[i], lines[first + i]));
    first += set.Count();
    if (result == QXError_OK) break;
    // The service stops at the first window that it cannot make; the others are to play all the
    // same.
    if (const auto window = OpenAlone(lines[first])) opened.push_back(*window);
    ++first;
  }
  return true;
}

std::optional<OpenWindow> WindowOpener::Open(const WindowLine& line) {
  if (session_.options.memoryLimitBytes != 0) return OpenAlone(line);
  std::vector<const char*> argv = AsArgv("plexion", line.arguments);
  qx::plexion::StageWindowSet set;
  const QXError result = session_.service->CreateAndConfigureStageWindowSet(
      set, static_cast<int>(argv.size()) - 1, argv.data(), 1);
  if (result == QXError_OK && set.Count() == 1) return Take(set[0], line);
  session_.service->DestroyStageWindowSet(set);
  return OpenAlone(line);
}

OpenWindow WindowOpener::Take(StageWindow* window, const WindowLine& line) {
  return OpenWindow{window, &line, &session_.windows.Add(window, line)};
}

std::optional<OpenWindow> WindowOpener::OpenAlone(const WindowLine& line) {
  StageWindow* const window = session_.service->CreateStageWindow();
  if (window == nullptr) {
    session_.ContentError(line.content, {qx::plexion::kErrorNotEnoughMemory, "no window"});
    return std::nullopt;
  }
  const OpenWindow opened = Take(window, line);
  std::vector<const char*> argv = AsArgv("plexion", line.arguments);
  qx::plexion::StageWindowParameters parameters{};
  parameters.locale = line.locale.empty() ? nullptr : line.locale.c_str();
  const bool understood = session_.service->ParseCommandLineParameters(
      static_cast<int>(argv.size()) - 1, argv.data(), parameters);
  parameters.memoryLimit = session_.options.memoryLimitBytes;
  if (understood && window->Configure(parameters)) return opened;

  Ending ending{window->GetStageWindowStatus(), ""};
  if (const auto reported = opened.observer->GetEnding()) ending = *reported;
  if (ending.status == qx::plexion::kErrorModuleUnavailable && ending.message.empty()) {
    ending.message = MissingRuntime(parameters.gl == qx::plexion::kGlOn);
    runtimeMissing_ = runtimeMissing_ || !ending.message.empty();
  }
  if (ending.message.empty()) ending.message = "the player does not accept its options";
  session_.ContentError(line.content, ending);
  session_.windows.Destroy(window);
  return std::nullopt;
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
