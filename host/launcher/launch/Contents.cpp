// What a run plays: read, prepared, opened, played and ended.

#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/contracts/Isolation.h"
#include "host/launcher/launch/Launch.h"
#include "host/launcher/programme/ProgrammeCommand.h"
#include "host/launcher/programme/ProgrammeRun.h"
#include "host/launcher/run/SignageRun.h"
#include "host/launcher/run/WindowControl.h"
#include "host/launcher/run/WindowRun.h"

namespace plexion_host {

bool Launch::ReadContents() {
  if (!line_.options.programme.empty()) return ReadProgrammeFile();
  WindowLines lines = SplitWindows(line_.windowArguments, kMaxStageWindows, LauncherOptionNames());
  if (!lines.error.empty()) return FailUsage(lines.error);
  lines_ = std::move(lines.windows);
  GiveVariables(line_.contentOptions, lines_);
  for (const WindowLine& line : lines_) {
    // The service has the last word, before the first content is opened.
    if (!opener_.Check(line)) {
      return FailUsage("the service does not accept the options of '" + line.content + "'");
    }
    std::error_code fault;
    const std::filesystem::path folder = line.content;
    if (std::filesystem::is_directory(folder, fault) &&
        !std::filesystem::exists(folder / "application.xml", fault)) {
      session_.Log(LogLevel::kWarning,
                   "'" + PrintableWord(line.content) +
                       "' is a folder without an application.xml; --programme plays what is in it");
    }
  }
  return true;
}

bool Launch::ReadProgrammeFile() {
  // Of what else the service reads by itself, the operator's shell is of use here.
  const std::vector<std::string>& words = line_.windowArguments;
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i] == "--useshell") continue;
    if (words[i] == "--modulemap") {
      ++i;
      continue;
    }
    return FailUsage("--programme: '" + words[i] +
                     "' stands beside it; expected no other content, and no option of a window");
  }
  calendar_ = Acquire<ICalendar>("ICalendar");
  if (!calendar_) return Fail(kExitCannotWork, "module ICalendar is not available: " + error_);
  auto programme = std::make_shared<Programme>();
  if (!OpenProgramme(line_.options.programme, *calendar_.Get(), *programme, error_)) {
    return Fail(kExitUsage, error_);
  }
  programme_ = std::move(programme);
  return true;
}

bool Launch::PrepareContents() {
  const char* const isolation = getenv(kIsolationVariable);
  if (lines_.empty() || isolation == nullptr || std::string_view(isolation) != "on") return true;
  std::string ignored;  // who opens the first window says what is missing
  runtime_ =
      ModuleHandle<IQXModule>(kernel_, kernel_.TryAcquireModule("IMorvelRuntimeLib", ignored));
  preparer_ = ModuleHandle<IHostPlayer>(kernel_, kernel_.TryAcquireModule("IHostPlayer", ignored));
  if (!preparer_) return true;
  // Of a playlist the first; the others are prepared in their turn.
  const size_t first = line_.options.signage ? 1 : lines_.size();
  for (size_t i = 0; i < first; ++i) opener_.Prepare(lines_[i], *preparer_.Get());
  return true;
}

bool Launch::OpenWindows() {
  end_.SetStep("the player runtime");
  control_.Start([this] {
    windows_.TerminateAll();
    if (!windows_.IsPausePending()) return true;
    shell_.SayGo();
    return false;  // "go" may not be registered yet
  });
  if (const std::optional<int64_t>& ms = line_.options.exitAfterMs) {
    control_.QuitAt(ControlThread::Clock::now() + std::chrono::milliseconds(*ms));
  }
  if (line_.options.signage || programme_) return true;  // one by one, in their turn
  for (const WindowLine& line : lines_) {
    if (const auto window = opener_.Open(line)) opened_.push_back(*window);
  }
  opener_.ReportFailures();
  if (!opened_.empty()) return true;
  code_ = opener_.IsRuntimeMissing() ? kExitCannotWork : kExitContentError;
  return false;
}

bool Launch::StartContents() {
  contents_ = NamedThread("PlexionService", [this] { PlayContents(); });
  return true;
}

void Launch::PlayContents() {
  if (programme_) {
    ProgrammeRun(session_, *calendar_.Get(), line_.options.programme, programme_).Run();
  } else if (line_.options.signage) {
    SignageRun run(session_, lines_);
    if (!run.Run()) code_ = run.IsRuntimeMissing() ? kExitCannotWork : kExitContentError;
    end_.EndWithin(EndWatch::kAfterRequest);  // a content that was left out may hang still
  } else {
    WindowControl control(windows_);
    session_.play.Set(&control);
    WindowRun(session_, opened_).Run();
    session_.play.Set(nullptr);
  }
  if (session_.WaitForDisplay() && session_.display != nullptr) session_.display->RequestQuit();
}

void Launch::EndContents() {
  end_.EndWithin(EndWatch::kAfterRequest);
  if (!displaySaid_) {
    // Nothing can be shown: ends the windows, which may be loading.
    windows_.RequestQuit();
    session_.SetDisplayOpen(false);
  }
  contents_.Join();
  PLEXION_CHECK(windows_.GetContents().empty(), "every window is destroyed by who opened it");
}

}  // namespace plexion_host
