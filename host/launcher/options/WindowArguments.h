#ifndef HOST_LAUNCHER_OPTIONS_WINDOWARGUMENTS_H_
#define HOST_LAUNCHER_OPTIONS_WINDOWARGUMENTS_H_

#include <cstddef>
#include <string>
#include <vector>

namespace plexion_host {

/// One window's part of the command line.
struct WindowLine {
  std::vector<std::string> arguments;  ///< options, then the content
  std::string content;
  std::string keymap;  ///< empty: not given; so are those below
  std::string mouseStream;
  std::string variables;  ///< all of the content's, name=value&...
  std::string locale;     ///< of this window or an earlier one: the service keeps it from one to
                          ///< the next
  std::string zone;       ///< of a programme
  bool keyMaster = false;
  bool keepScreen = false;  ///< --noclearscreen
};

/// An option of the launcher that is for single contents, as one of their variables.
struct ContentOption {
  size_t position;  ///< how many of the windows' arguments stand in front of it
  std::string variable;
  std::string value;
};

struct WindowLines {
  std::vector<WindowLine> windows;
  /// Empty, or what is wrong with the command line; `windows` are then those before that.
  std::string error;
};

/// How many of the arguments behind `arguments[index]` are its values, by the service's syntax; 0
/// for what is no option of the service.
size_t ServiceValueCount(const std::vector<std::string>& arguments, size_t index);

/// Takes a command line apart as the service does, window by window.
///
/// `arguments` have no program name in front. `otherOptions` are names, dashes included, that an
/// unknown option may have been meant to be, besides the service's.
WindowLines SplitWindows(const std::vector<std::string>& arguments, size_t maxWindows,
                         const std::vector<std::string>& otherOptions = {});

/// Puts the options into the windows' variables, in front of what those say themselves. An option
/// counts for the contents behind it, until the next of its name; behind the last content, for those
/// that have none. `windows` are what SplitWindows made of the same command line.
void GiveVariables(const std::vector<ContentOption>& options, std::vector<WindowLine>& windows);

/// What people are told of one option.
struct OptionHelp {
  std::string name;   ///< with its value: "--screen WxH"
  std::string topic;  ///< the page of the help that it is on; empty: not known
  std::string text;
};
/// Every option of a window, by name and values: the service's own list leaves some out.
std::vector<OptionHelp> WindowOptionHelp();

/// The arguments as a vector of the C kind, with `program` in front and null behind. They stay in
/// the vectors given, which must outlive it.
std::vector<const char*> AsArgv(const char* program, const std::vector<std::string>& arguments);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_OPTIONS_WINDOWARGUMENTS_H_
