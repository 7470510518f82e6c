// The operator's commands that work on windows.

#include "host/launcher/commands/WindowCommands.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include "host/base/Check.h"
#include "host/launcher/commands/HostCommand.h"
#include "host/launcher/commands/WindowTable.h"
#include "qx/plexion/StageWindowNotifier.h"

namespace plexion_host {
namespace {

using qx::platform::OutputPlane;
using qx::plexion::Dims;
using qx::plexion::Point;

constexpr ArgumentRule Number(const char* name, long least, long most) {
  return {name, ArgumentRule::Kind::kNumber, least, most, false};
}
constexpr ArgumentRule kWindow = Number("N", 1, kMostWindowNumber);

std::string Numbers(const std::vector<HostWindow>& windows) {
  if (windows.empty()) return "there are no windows";
  std::string text;
  for (const HostWindow& window : windows) {
    text += (text.empty() ? "" : ", ") + std::to_string(window.number);
  }
  return (windows.size() == 1 ? "there is " : "there are ") + text;
}

enum class Needs { kNothing, kPlayer, kPlane };

/// Finds the window that the first argument names and lets `act` work on it. `act` answers what is
/// wrong, or nothing. None of this waits: a window that is still loading is refused, unless the
/// command needs nothing of it that the load holds.
bool OnWindow(CommandContext& context, const Arguments& arguments, Needs needs, std::string& error,
              const std::function<std::string(const HostWindow&, OutputPlane*)>& act) {
  PLEXION_CHECK(!arguments.numbers.empty(),
                "a command on a window begins with the window's number");
  const auto number = static_cast<unsigned>(arguments.numbers[0]);
  context.windows.WithWindows([&](std::vector<HostWindow>& windows) {
    const auto found = std::find_if(windows.begin(), windows.end(),
                                    [&](const HostWindow& each) { return each.number == number; });
    const std::string name = "window " + std::to_string(number);
    if (found == windows.end()) {
      error = "there is no " + name + "; " + Numbers(windows);
    } else if (needs != Needs::kNothing && IsWindowBusy(*found)) {
      error = name + " is not loaded yet";
    } else {
      OutputPlane* plane = nullptr;
      if (needs == Needs::kPlane) plane = found->window->GetOutputPlane();
      if (needs == Needs::kPlane && plane == nullptr) {
        error = name + " is not on the screen yet";
      } else {
        error = act(*found, plane);
      }
    }
  });
  return error.empty();
}

/// Hears whether the window has moved.
class MoveOutcome final : public qx::plexion::StageWindowNotifier {
 public:
  void OnStageWindowNotification(qx::plexion::StageWindow*, qx::plexion::StageWindowStatus status,
                                 const qx::plexion::StageWindowStatusData*) override {
    if (status == qx::plexion::kInfoWindowMoved) moved = true;
  }
  std::atomic<bool> moved{false};
};

/// Hears what became of a resize between two frames.
class ResizeOutcome final : public qx::plexion::StageWindowNotifier {
 public:
  void OnStageWindowNotification(qx::plexion::StageWindow*, qx::plexion::StageWindowStatus status,
                                 const qx::plexion::StageWindowStatusData*) override {
    // Of all that a window tells its observers, these say how a resize came out; a content that ends before it
    // does will never say so.
    const bool outcome = status == qx::plexion::kInfoWindowResized ||
                         status == qx::plexion::kInfoOutputPlaneResizeFailed ||
                         status == qx::plexion::kInfoRenderPlaneResizeFailed;
    if (!outcome && !qx::plexion::IsTerminalStatus(status)) return;
    const MutexLock lock(mutex_);
    // The first word counts: a window that was resized may end while this waits to be asked.
    if (!status_) status_ = status;
    heard_.NotifyAll();
  }
  /// Returns  what was wrong with it, or nothing.
  std::string Wait(std::chrono::milliseconds patience) {
    MutexLock lock(mutex_);
    if (!heard_.WaitFor(lock, patience,
                        [this]() REQUIRES(mutex_) { return status_.has_value(); })) {
      return "its content has not come to the end of a frame in " +
             std::to_string(patience.count()) + " ms";
    }
    if (*status_ == qx::plexion::kInfoWindowResized) return {};
    return qx::plexion::IsTerminalStatus(*status_) ? "its content has ended" : "the driver refuses";
  }

 private:
  Mutex mutex_;
  Condition heard_;
  std::optional<qx::plexion::StageWindowStatus> status_ GUARDED_BY(mutex_);
};

std::string NoFrom(const HostWindow& window, const char* what, CommandContext& context) {
  return "window " + std::to_string(window.number) + " cannot be " + what + " in " +
         StatusName(window, context.windows.GetService());
}

bool Windows(CommandContext& context, const Arguments&, std::string&) {
  std::string table;
  context.windows.WithWindows([&](std::vector<HostWindow>& windows) {
    table = FormatWindowTable(windows, context.windows.GetService());
  });
  context.kernel.Printf("%s", table.c_str());
  return true;
}

bool Activate(CommandContext& context, const Arguments& arguments, std::string& error) {
  return OnWindow(context, arguments, Needs::kPlayer, error,
                  [&](const HostWindow& window, OutputPlane*) {
                    return window.window->SetActiveStageWindow()
                               ? std::string()
                               : NoFrom(window, "made the active one", context);
                  });
}

bool Move(CommandContext& context, const Arguments& arguments, std::string& error) {
  const Point point{static_cast<uint32_t>(arguments.numbers[1]),
                    static_cast<uint32_t>(arguments.numbers[2])};
  // The window itself answers nothing: it tells its observers, before it returns.
  return OnWindow(context, arguments, Needs::kPlane, error,
                  [&](const HostWindow& window, OutputPlane*) {
                    MoveOutcome outcome;
                    window.window->RegisterNotifier(&outcome);
                    window.window->MoveTo(point);
                    window.window->UnregisterNotifier(&outcome);
                    return outcome.moved ? std::string() : "the driver refuses";
                  });
}

bool Resize(CommandContext& context, const Arguments& arguments, std::string& error) {
  const Dims dims{static_cast<uint32_t>(arguments.numbers[1]),
                  static_cast<uint32_t>(arguments.numbers[2])};
  {
    const MutexLock lock(context.mutex);
    const Dims screen = context.graphics != nullptr ? context.graphics->GetScreenDims() : dims;
    // Refused here with the reason; the driver would only say no.
    if (dims.width > screen.width || dims.height > screen.height) {
      error = arguments.texts[1] + "x" + arguments.texts[2] + " is larger than the screen, " +
              std::to_string(screen.width) + "x" + std::to_string(screen.height);
      return false;
    }
  }
  // Shared: when the patience ends, the window still has it and may yet call it.
  const auto outcome = std::make_shared<ResizeOutcome>();
  const bool begun = OnWindow(context, arguments, Needs::kPlane, error,
                              [&](const HostWindow& window, OutputPlane*) {
                                // Not while the planes are still being made.
                                const bool playing = window.status == qx::plexion::kStatusPlaying;
                                if (!playing && window.status != qx::plexion::kStatusPaused) {
                                  return NoFrom(window, "resized", context);
                                }
                                window.window->RegisterNotifier(outcome.get());
                                // Deferred, also when paused: the player draws into the planes meanwhile, and only its own
                                // thread knows when it does not.
                                window.window->Resize(dims, true);
                                return std::string();
                              });
  if (!begun) return false;
  // Outside of the window list's lock: a frame's end may be two seconds off, and others look at the windows.
  error = outcome->Wait(context.resizePatience);
  std::string gone;
  if (!OnWindow(context, arguments, Needs::kNothing, gone,
                [&](const HostWindow& window, OutputPlane*) {
                  window.window->UnregisterNotifier(outcome.get());
                  return std::string();
                })) {
    // A window that is just being destroyed can tell it still.
    context.lateObservers.push_back(outcome);
  }
  if (!error.empty()) error = "window " + arguments.texts[0] + " is not resized: " + error;
  return error.empty();
}

bool SetVisible(CommandContext& context, const Arguments& arguments, bool visible,
                std::string& error) {
  return OnWindow(context, arguments, Needs::kPlane, error,
                  [&](const HostWindow& window, OutputPlane*) {
                    window.window->SetVisible(visible);
                    return std::string();
                  });
}

bool Show(CommandContext& context, const Arguments& arguments, std::string& error) {
  return SetVisible(context, arguments, true, error);
}

bool Hide(CommandContext& context, const Arguments& arguments, std::string& error) {
  return SetVisible(context, arguments, false, error);
}

bool Alpha(CommandContext& context, const Arguments& arguments, std::string& error) {
  return OnWindow(context, arguments, Needs::kPlane, error,
                  [&](const HostWindow& window, OutputPlane*) {
                    window.window->SetAlpha(static_cast<unsigned char>(arguments.numbers[1]));
                    return std::string();
                  });
}

bool Raise(CommandContext& context, const Arguments& arguments, std::string& error) {
  return OnWindow(context, arguments, Needs::kPlane, error,
                  [&](const HostWindow&, OutputPlane* plane) {
                    // Null is "all others", and the plane's own lock is the driver's matter: no window is asked.
                    return plane->SetAbove(nullptr) ? std::string() : "the driver refuses";
                  });
}

bool Lower(CommandContext& context, const Arguments& arguments, std::string& error) {
  return OnWindow(context, arguments, Needs::kPlane, error,
                  [&](const HostWindow&, OutputPlane* plane) {
                    return plane->SetBelow(nullptr) ? std::string() : "the driver refuses";
                  });
}

}  // namespace

bool PauseWindow(CommandContext& context, const Arguments& arguments, std::string& error) {
  return OnWindow(
      context, arguments, Needs::kPlayer, error, [&](const HostWindow& window, OutputPlane*) {
        return window.window->Pause() ? std::string() : NoFrom(window, "paused", context);
      });
}

bool PlayWindow(CommandContext& context, const Arguments& arguments, std::string& error) {
  return OnWindow(
      context, arguments, Needs::kPlane, error, [&](const HostWindow& window, OutputPlane*) {
        return window.window->Play() ? std::string() : NoFrom(window, "played", context);
      });
}

namespace {

bool Stop(CommandContext& context, const Arguments& arguments, std::string& error) {
  return OnWindow(context, arguments, Needs::kNothing, error,
                  [&](const HostWindow& window, OutputPlane*) {
                    // The one operation that takes no lock of the window: it also ends a load that hangs.
                    return window.window->Terminate(qx::plexion::kStatusComplete)
                               ? std::string()
                               : NoFrom(window, "stopped", context);
                  });
}

}  // namespace

std::vector<CommandRule> WindowCommands() {
  const ArgumentRule x = Number("X", -kMostPixels, kMostPixels);
  const ArgumentRule y = Number("Y", -kMostPixels, kMostPixels);
  return {
      {"windows", "lists the windows", {}, Windows},
      {"activate",
       "gives the window the pointer, and the keys unless a key master has them",
       {kWindow},
       Activate},
      {"move", "puts the window's top left corner at X,Y of the screen", {kWindow, x, y}, Move},
      {"resize",
       "gives the window W by H pixels",
       {kWindow, Number("W", 1, kMostPixels), Number("H", 1, kMostPixels)},
       Resize},
      {"show", "makes the window visible", {kWindow}, Show},
      {"hide", "makes it invisible; it goes on playing", {kWindow}, Hide},
      {"alpha",
       "sets its opacity, from 0 (not seen) to 255",
       {kWindow, Number("A", 0, 255)},
       Alpha},
      {"raise", "puts it above all others", {kWindow}, Raise},
      {"lower", "puts it below all others", {kWindow}, Lower},
      {"stop", "ends its content, as if it had come to its end", {kWindow}, Stop},
  };
}

}  // namespace plexion_host
