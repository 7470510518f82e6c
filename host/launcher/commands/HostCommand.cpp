// A row of the operator's commands, and how its words are checked.

#include "host/launcher/commands/HostCommand.h"

#include <algorithm>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host {

std::string UsageOf(const CommandRule& rule) {
  std::string usage = rule.name;
  for (const ArgumentRule& argument : rule.arguments) {
    usage += argument.optional ? std::string(" [") + argument.name + "]"
                               : std::string(" ") + argument.name;
  }
  return rule.json ? usage + " [--json]" : usage;
}

bool CheckArguments(const CommandRule& rule, const std::vector<std::string>& typed,
                    Arguments& arguments, std::string& error) {
  std::vector<std::string> words = typed;
  if (rule.json) {
    const auto left = std::remove(words.begin(), words.end(), "--json");
    arguments.json = left != words.end();
    words.erase(left, words.end());
  }
  const std::string usage = "; usage: " + UsageOf(rule);
  if (words.size() > rule.arguments.size()) {
    error = "'" + words[rule.arguments.size()] + "' is one word too many" + usage;
    return false;
  }
  for (size_t i = 0; i < rule.arguments.size(); ++i) {
    const ArgumentRule& argument = rule.arguments[i];
    if (i == words.size()) {
      if (argument.optional) return true;
      error = std::string(argument.name) + " is missing" + usage;
      return false;
    }
    const auto number = argument.kind == ArgumentRule::Kind::kNumber
                            ? ReadWholeNumber(words[i], argument.least, argument.most)
                            : 0;
    if (!number) {
      error = "'" + words[i] + "' is no " + argument.name + " (expected a whole number from " +
              std::to_string(argument.least) + " to " + std::to_string(argument.most) + ")" + usage;
      return false;
    }
    arguments.texts.push_back(words[i]);
    arguments.numbers.push_back(*number);
  }
  return true;
}

QXError HostCommand::Execute(unsigned long argc, char** argv) {
  PLEXION_CHECK(argc > 0, "the first word is the command's name");
  const std::vector<std::string> words(argv + 1, argv + argc);
  Arguments arguments;
  std::string error;
  const bool understood = CheckArguments(rule_, words, arguments, error);
  // One command runs at a time, so what the last one left behind is this one's to clear.
  context_.misused = false;
  if (understood && rule_.run(context_, arguments, error)) return QXError_OK;
  // The client takes the last line for the reason, and the code for the kind of failure.
  context_.kernel.Printf("%s: %s\n", rule_.name, error.c_str());
  return understood && !context_.misused ? QXError_Generic : QXError_Usage;
}

}  // namespace plexion_host
