// Which window has which part of the command line, and in words why a line is refused. What is right
// is the grammar's to say, which the service reads its parameters by.

#include "host/launcher/options/WindowArguments.h"

#include <cstdlib>
#include <cstring>
#include <map>

#include "host/base/Check.h"
#include "host/base/NearestName.h"
#include "host/base/Text.h"
#include "qx/plexion/CommandLineGrammar.h"

namespace plexion_host {
namespace {

namespace grammar = qx::plexion::grammar;
using grammar::Refusal;

/// The text operations of the kernel are those of the C library.
struct Texts {
  static int StrCmp(const char* left, const char* right) { return std::strcmp(left, right); }
  static size_t StrLen(const char* text) { return std::strlen(text); }
  static const char* StrChr(const char* text, int character) {
    return std::strchr(text, character);
  }
  static const char* StrRChr(const char* text, int character) {
    return std::strrchr(text, character);
  }
  static long StrToL(const char* text, char** end, int base) {
    return std::strtol(text, end, base);
  }
  static unsigned long StrToUL(const char* text, char** end, int base) {
    return std::strtoul(text, end, base);
  }
};

/// Why `word`, with `value` behind it, was refused.
std::string Explain(const grammar::Reading<Texts>& reading, const std::string& word,
                    const char* value, const std::vector<std::string>& otherOptions) {
  switch (reading.refusal) {
    case Refusal::kUnknownOption: {
      // The launcher's own options, too: who mistypes one does not know whose it is.
      std::vector<std::string> names = otherOptions;
      for (const auto& option : grammar::kOptions<Texts>) {
        names.push_back(std::string("--") + option.name);
      }
      const std::string nearest = NearestName(word, names);
      return "unknown option '" + word + "'" +
             (nearest.empty() ? "" : "; is '" + nearest + "' meant?");
    }
    case Refusal::kMissingValue:
      return word + " needs " + reading.option->expected;
    case Refusal::kWrongValue:
      return word + ": '" + value + "' is not " + reading.option->expected;
    case Refusal::kNeedsZorBase:
      return "'" + word + "' is an application descriptor: --zorbase DIR must stand before it";
    case Refusal::kNeedsDescriptor:
      return "'" + word + "' cannot follow --zorbase: expected an application descriptor (.xml)";
    case Refusal::kSecondContent:
    case Refusal::kNone:
      break;
  }
  return "the service does not accept '" + word + "'";
}

std::string TextOf(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

size_t ServiceValueCount(const std::vector<std::string>& arguments, size_t index) {
  PLEXION_CHECK(index < arguments.size(), "the word that is asked about is there");
  const std::vector<const char*> argv = AsArgv(nullptr, arguments);
  const char* const word = argv[index + 1];
  Texts texts;
  const auto* const option =
      grammar::IsOption(word) ? grammar::FindOption(texts, word + 2) : nullptr;
  if (option == nullptr) return 0;
  grammar::Words words(static_cast<int>(arguments.size()) + 1, argv.data(),
                       static_cast<int>(index) + 2);
  const int first = words.Index();
  qx::plexion::StageWindowParameters ignored{};
  // Also of a line that is going to be refused, so that its words are the service's.
  const bool taken = grammar::TakeOption(texts, *option, words, ignored) == Refusal::kNone;
  return static_cast<size_t>(taken ? words.Index() - first : option->valueCount);
}

WindowLines SplitWindows(const std::vector<std::string>& arguments, size_t maxWindows,
                         const std::vector<std::string>& otherOptions) {
  Texts texts;
  WindowLines lines;
  const std::vector<const char*> argv = AsArgv("plexion", arguments);
  const int end = static_cast<int>(arguments.size()) + 1;
  const char* locale = nullptr;
  for (int index = 1; index < end;) {
    const int first = index;
    qx::plexion::StageWindowParameters parameters{};
    // A language that is named holds for all windows behind it; every other option for its own only.
    parameters.locale = locale;
    WindowLine line;
    const auto reading = grammar::ReadWindow(texts, end, argv.data(), index, parameters, true,
                                             [&](const auto& option) {
                                               if (texts.StrCmp(option.name, "noclearscreen") == 0)
                                                 line.keepScreen = true;
                                             });
    if (reading.refusal != Refusal::kNone) {
      lines.error = Explain(reading, argv[index - 1], argv[index], otherOptions);
    } else if (parameters.contentPath == nullptr) {
      lines.error = std::string("no content behind '") + argv[first] + "'";
    } else if (lines.windows.size() == maxWindows) {
      lines.error = std::string("too many contents: '") + parameters.contentPath +
                    "' is one more than the " + std::to_string(maxWindows) +
                    " windows that there can be";
    }
    if (!lines.error.empty()) return lines;
    // As they were typed: the service reads them once more, by the same grammar, and has the last word.
    line.arguments.assign(arguments.begin() + (first - 1), arguments.begin() + (index - 1));
    line.content = parameters.contentPath;
    line.keymap = TextOf(parameters.keymap);
    line.mouseStream = TextOf(parameters.mouseStream);
    line.variables = TextOf(parameters.morvelVars);
    line.locale = TextOf(parameters.locale);
    line.keyMaster = parameters.keyMaster;
    lines.windows.push_back(line);
    locale = parameters.locale;
  }
  if (lines.windows.empty()) lines.error = "no content is named";
  return lines;
}

void GiveVariables(const std::vector<ContentOption>& options, std::vector<WindowLine>& windows) {
  size_t all = 0;
  for (const WindowLine& window : windows) all += window.arguments.size();
  size_t end = 0;
  for (WindowLine& window : windows) {
    end += window.arguments.size();
    // By name: an option that stands twice counts once, the later one.
    std::map<std::string, std::string> given;
    for (const ContentOption& option : options) {
      if (option.position == all) given[option.variable] = option.value;
    }
    // What stands in front takes the place of what stands behind everything.
    for (const ContentOption& option : options) {
      if (option.position < end) given[option.variable] = option.value;
    }
    std::string text;
    for (const auto& [variable, value] : given) {
      text += variable + "=" + EncodePercent(value) + "&";
    }
    // What --morvelvars says comes behind, and of two variables of one name the last one counts.
    window.variables = window.variables.empty() && !text.empty() ? text.substr(0, text.size() - 1)
                                                                 : text + window.variables;
  }
}

std::vector<OptionHelp> WindowOptionHelp() {
  std::vector<OptionHelp> all;
  for (const auto& option : grammar::kOptions<Texts>) {
    const char* const blank = *option.values == '\0' ? "" : " ";
    all.push_back({std::string("--") + option.name + blank + option.values, "", ""});
  }
  return all;
}

std::vector<const char*> AsArgv(const char* program, const std::vector<std::string>& arguments) {
  std::vector<const char*> argv{program};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  return argv;
}

}  // namespace plexion_host
