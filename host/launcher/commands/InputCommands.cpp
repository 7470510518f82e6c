// The operator's keys and clicks.

#include "host/launcher/commands/HostCommand.h"

namespace plexion_host {
namespace {

/// The input way, or null with the reason. Call under the context's lock.
IHostInput* InputOf(CommandContext& context, std::string& error) REQUIRES(context.mutex) {
  if (context.input == nullptr) error = "there is no input driver";
  return context.input;
}

bool Key(CommandContext& context, const Arguments& arguments, std::string& error) {
  const MutexLock lock(context.mutex);
  IHostInput* const input = InputOf(context, error);
  if (input == nullptr) return false;
  // Asked of the driver, which knows what --keymap has changed.
  const uint32_t key = input->KeyByName(arguments.texts[0]);
  if (key == 0) {
    error = "'" + arguments.texts[0] +
            "' is no key (expected a name such as left, ok or red, one character, or a number "
            "such as 0x0100000A)";
    return false;
  }
  const std::string way = arguments.texts.size() > 1 ? arguments.texts[1] : "";
  if (!way.empty() && way != "down" && way != "up") {
    error = "'" + way + "' is neither down nor up; usage: key NAME [down|up]";
    return false;
  }
  // The source goes along, so that a key which an operator holds down is not let go by a viewer.
  if (way != "up") input->KeyDown(InputSource::kShell, key);
  if (way != "down") input->KeyUp(InputSource::kShell, key);
  return true;
}

bool Click(CommandContext& context, const Arguments& arguments, std::string& error) {
  const MutexLock lock(context.mutex);
  IHostInput* const input = InputOf(context, error);
  if (input == nullptr) return false;
  const auto x = static_cast<int32_t>(arguments.numbers[0]);
  const auto y = static_cast<int32_t>(arguments.numbers[1]);
  // Contents hear of a pointer where it is before they hear of a button, as from a mouse.
  input->PointerMove(InputSource::kShell, x, y);
  input->PointerDown(InputSource::kShell, qx::plexion::kMouseButtonLeft, x, y);
  input->PointerUp(InputSource::kShell, qx::plexion::kMouseButtonLeft, x, y);
  return true;
}

}  // namespace

std::vector<CommandRule> InputCommands() {
  using Kind = ArgumentRule::Kind;
  return {
      {"key",
       "presses and releases a key: a name, one character, or a code",
       {{"NAME", Kind::kText}, {"down|up", Kind::kText, 0, 0, true}},
       Key},
      {"click",
       "presses and releases the left button at X,Y of the screen",
       {{"X", Kind::kNumber, 0, kMostPixels}, {"Y", Kind::kNumber, 0, kMostPixels}},
       Click},
  };
}

}  // namespace plexion_host
