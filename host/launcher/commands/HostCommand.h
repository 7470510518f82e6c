// A row of the operator's commands, and how its words are checked.

#ifndef HOST_LAUNCHER_COMMANDS_HOSTCOMMAND_H_
#define HOST_LAUNCHER_COMMANDS_HOSTCOMMAND_H_

#include <string>
#include <vector>

#include "host/launcher/commands/CommandContext.h"
#include "qx/platform/IShell.h"

namespace plexion_host {

/// Of a place or a size that an operator gives.
constexpr long kMostPixels = 32767;

/// One word behind a command.
struct ArgumentRule {
  enum class Kind { kNumber, kText };
  const char* name;  ///< as in the usage: "X"
  Kind kind;
  long least = 0;  ///< of a number
  long most = 0;
  bool optional = false;
};

/// The words behind a command, checked. Of an optional one that was left out nothing is there.
struct Arguments {
  std::vector<std::string> texts;
  std::vector<long> numbers;  ///< in the same places; 0 for a text
  bool json = false;          ///< asked for with --json, by a command that knows it

  /// Empty for an optional one that was left out.
  std::string TextAt(size_t index) const {
    return index < texts.size() ? texts[index] : std::string();
  }
};

/// One command: its row in a table.
struct CommandRule {
  const char* name;
  const char* summary;
  std::vector<ArgumentRule> arguments;
  /// Prints its result. Returns  false with what is wrong in `error`.
  bool (*run)(CommandContext& context, const Arguments& arguments, std::string& error);
  bool json = false;  ///< takes --json anywhere behind its name
};

std::string UsageOf(const CommandRule& rule);

/// Returns  false with what is wrong, and what would be right, in `error`.
bool CheckArguments(const CommandRule& rule, const std::vector<std::string>& words,
                    Arguments& arguments, std::string& error);

/// A row of a table as the shell sees it.
class HostCommand final : public qx::platform::IShellCommand {
 public:
  HostCommand(CommandRule rule, CommandContext& context)
      : rule_(std::move(rule)), context_(context) {}
  /// A failure's last printed line says why.
  QXError Execute(unsigned long argc, char** argv) override;
  const CommandRule& Rule() const { return rule_; }

 private:
  const CommandRule rule_;
  CommandContext& context_;
};

// The tables, by what they work on.
std::vector<CommandRule> WindowCommands();
std::vector<CommandRule> PlayCommands();
std::vector<CommandRule> SoundCommands();
std::vector<CommandRule> InputCommands();
std::vector<CommandRule> LauncherCommands();

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_HOSTCOMMAND_H_
