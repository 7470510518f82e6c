// "plexion render" and "plexion check": their command lines, and the module that does the work.
#include "host/launcher/render/ContentCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>

#include "host/base/Text.h"
#include "host/contracts/ContentGround.h"
#include "host/kernel/HostKernel.h"
#include "host/launcher/options/CommandLine.h"
#include "qx/core/IQXModule.h"

namespace plexion_host {
namespace {

constexpr char kRender[] = "render";
constexpr char kCheck[] = "check";
constexpr int64_t kLargestNumber = 999999999;

struct Typed {
  std::string content, frames, every, size, out = ".", background, morvelVars;
  bool help = false;
};

void AddOptions(CLI::App& app, bool render, Typed& typed) {
  app.set_help_flag("");
  app.add_option("CONTENT", typed.content, "A movie, a picture, or an application's folder")
      ->type_name("");
  if (render) {
    app.add_option("--frames", typed.frames, "Frames to draw, from 0: 0,30,60-90")
        ->type_name("LIST");
    app.add_option("--every", typed.every, "Every so many frames, from the first to the last")
        ->type_name("N");
    app.add_option("--out", typed.out,
                   "Folder for frame-N.png, else the working folder; or NAME.png\n"
                   "for one frame, NAME.webp for an animated picture")
        ->type_name("DIR");
    app.add_option("--background", typed.background,
                   "Colour under the content as RRGGBB; transparent unless given")
        ->type_name("COLOUR");
  }
  app.add_option("--size", typed.size, "Size in pixels; the content's own unless given")
      ->type_name("WxH");
  app.add_option("--morvelvars", typed.morvelVars, "The content's variables, name=value&...")
      ->type_name("VARS");
  app.add_flag("-h,--help", typed.help, "This text");
}

bool ReadCount(const std::string& text, uint64_t& number) {
  const auto read = ReadWholeNumber(text, 0, kLargestNumber);
  number = static_cast<uint64_t>(read.value_or(0));
  return read.has_value();
}

bool ReadRange(const std::string& text, std::pair<uint64_t, uint64_t>& range) {
  const size_t dash = text.find('-');
  if (!ReadCount(text.substr(0, dash), range.first)) return false;
  range.second = range.first;
  return dash == std::string::npos ||
         (ReadCount(text.substr(dash + 1), range.second) && range.second >= range.first);
}

bool ReadFrames(const std::string& text, std::vector<std::pair<uint64_t, uint64_t>>& frames) {
  for (size_t at = 0; at <= text.size();) {
    const size_t comma = std::min(text.find(',', at), text.size());
    std::pair<uint64_t, uint64_t> range;
    if (!ReadRange(text.substr(at, comma - at), range)) return false;
    frames.push_back(range);
    at = comma + 1;
  }
  return true;
}

bool ReadSize(const std::string& text, RenderRequest& request) {
  constexpr uint64_t kMaxSide = 16384;
  const size_t cross = text.find('x');
  uint64_t width = 0;
  uint64_t height = 0;
  if (cross == std::string::npos || !ReadCount(text.substr(0, cross), width) ||
      !ReadCount(text.substr(cross + 1), height)) {
    return false;
  }
  request.width = static_cast<uint32_t>(width);
  request.height = static_cast<uint32_t>(height);
  return std::min(width, height) > 0 && std::max(width, height) <= kMaxSide;
}

bool ReadBackground(const std::string& text, RenderRequest& request) {
  const auto colour = ReadColour(text);
  request.hasBackground = colour.has_value();
  request.background = colour.value_or(0);
  return request.hasBackground;
}

/// Returns  what is wrong, or an empty text.
std::string ReadTyped(const Typed& typed, RenderRequest& request) {
  const auto wrong = [](const char* option, const std::string& value, const char* expected) {
    return std::string(option) + ": '" + value + "' is not " + expected;
  };
  if (typed.content.empty()) return "no content is named; expected a file or a folder";
  request.content = typed.content;
  request.out = typed.out;
  request.morvelVars = typed.morvelVars;
  if (typed.out.empty()) return "--out: the value is empty; expected a folder or a file's name";
  if (!typed.frames.empty() && !typed.every.empty()) {
    return "--frames and --every: expected one of them";
  }
  if (!typed.frames.empty() && !ReadFrames(typed.frames, request.frames)) {
    return wrong("--frames", typed.frames, "a list of frames, for example 0,30,60-90");
  }
  if (!typed.every.empty() && (!ReadCount(typed.every, request.every) || request.every == 0)) {
    return wrong("--every", typed.every, "a number of frames from 1");
  }
  if (!typed.size.empty() && !ReadSize(typed.size, request)) {
    return wrong("--size", typed.size, "a size WxH from 1x1 to 16384x16384, for example 1280x720");
  }
  if (!typed.background.empty() && !ReadBackground(typed.background, request)) {
    return wrong("--background", typed.background, "a colour RRGGBB, for example 1a2b3c");
  }
  return {};
}

std::string HelpOf(CLI::App& app, bool render) {
  app.get_formatter()->column_width(28);
  std::string text = app.help();
  const size_t options = text.find("Options:");
  if (options != std::string::npos) text.erase(0, options);
  return (render ? std::string("usage: plexion render CONTENT [--frames LIST | --every N] "
                               "[options]\n\nDraws exact frames of a movie, a picture or an "
                               "application to PNG files,\nas fast as it goes.\n\n")
                 : std::string("usage: plexion check CONTENT [options]\n\nTells what a movie, a "
                               "picture or an application holds, what a frame of it costs,\nand "
                               "what of it is not drawn.\n\n")) +
         text;
}

}  // namespace

bool IsContentCommand(const std::vector<std::string>& arguments) {
  return arguments.size() > 1 && (arguments[1] == kRender || arguments[1] == kCheck);
}

ContentCommand ParseContentCommand(const std::vector<std::string>& arguments) {
  const bool render = arguments[1] == kRender;
  ContentCommand command;
  Typed typed;
  CLI::App app;
  AddOptions(app, render, typed);
  // Without the program's and the command's names; the parser takes words from the back.
  std::vector<std::string> own(arguments.rbegin(), arguments.rend() - 2);
  try {
    app.parse(own);
  } catch (const CLI::ParseError& error) {
    command.text = error.what();
    return command;
  }
  if (typed.help) {
    command.kind = ContentCommand::Kind::kHelp;
    command.text = HelpOf(app, render);
    return command;
  }
  command.text = ReadTyped(typed, command.request);
  if (!command.text.empty()) return command;
  command.kind = render ? ContentCommand::Kind::kRender : ContentCommand::Kind::kCheck;
  return command;
}

int RunContentCommand(const std::vector<std::string>& arguments) {
  const ContentCommand command = ParseContentCommand(arguments);
  Console console;
  if (command.kind == ContentCommand::Kind::kHelp) {
    console.Print(command.text);
    return kExitCompleted;
  }
  if (command.kind == ContentCommand::Kind::kWrong) {
    console.PrintError("plexion " + arguments[1] + ": " + command.text + "\nplexion " +
                       arguments[1] + " --help says more.\n");
    return kExitUsage;
  }
  ModuleFiles files;
  files.path = ModulePath(ExecutableFolder(), {}, std::getenv("PLEXION_MODULE_PATH"));
  // Lives as long as the process: a library that cannot be unloaded keeps the pointer.
  static HostKernel* const kernel = new HostKernel(arguments, std::move(files));
  IQXModule_QXModule_PutKernel(kernel);
  std::string error;
  auto* const renderer =
      static_cast<IContentRenderer*>(kernel->TryAcquireModule("IContentRenderer", error));
  if (renderer == nullptr) {
    console.PrintError("plexion: module IContentRenderer is not available: " + error + "\n");
    return kExitCannotWork;
  }
  const RenderOutcome outcome = command.kind == ContentCommand::Kind::kRender
                                    ? renderer->Render(command.request, error)
                                    : renderer->Check(command.request, error);
  // Before the reason is printed: what a library still says when it goes does not stand behind it.
  kernel->ReleaseModule(renderer);
  if (outcome == RenderOutcome::kDone) return kExitCompleted;
  console.PrintError("plexion " + arguments[1] + ": " + error + "\n");
  switch (outcome) {
    case RenderOutcome::kWrongRequest:
      return kExitUsage;
    case RenderOutcome::kCannotWrite:
      return kExitCannotWork;
    default:
      return kExitContentError;
  }
}

}  // namespace plexion_host
