// The help, in pages that fit a screen: the launcher's own options from their table, the service's with
// a sentence each.

#include "host/launcher/options/Help.h"

#include <algorithm>
#include <array>

#include "host/base/Text.h"
#include "host/launcher/options/CommandLine.h"
#include "host/launcher/options/WindowArguments.h"

namespace plexion_host {
namespace {

constexpr size_t kWidth = 79;
constexpr size_t kColumn = 27;

constexpr char kUsage[] =
    "usage: plexion [OPTION ...] CONTENT [[OPTION ...] CONTENT ...]\n"
    "       plexion --programme FILE|FOLDER|LIST [OPTION ...]\n";

struct Topic {
  const char* name;
  const char* about;
};
constexpr Topic kTopics[] = {
    {"commands", "what there is beside playing"},
    {"display", "the display, the screen's size, pictures of it"},
    {"schedule", "programmes, and when it begins and ends"},
    {"playing", "how contents follow each other and fill the screen"},
    {"window", "one content's place, size, keys and variables"},
    {"application", "what applications may use"},
    {"network", "proxies and certificates"},
    {"operator", "keys, the operator's shell, the screen at a distance"},
    {"log", "what is told of a run"},
    {"diagnosis", "what is measured and printed"},
    {"system", "folders, modules and limits"},
};

/// What the first page tells of, in fewer words than the option's own.
constexpr struct {
  const char* name;
  const char* text;
} kMostUsed[] = {
    {"--programme", "Play a programme: zones, playlists, a schedule"},
    {"--signage", "Play the contents one after the other"},
    {"--loop", "... and begin again"},
    {"--display", "auto, window, fullscreen or headless"},
    {"--fit", "contain, cover, stretch or none"},
    {"--log-level", "error, warning, info or debug"},
    {"--version", "The version"},
};

struct WindowOption {
  const char* name;
  const char* topic;
  const char* text;
};
/// The service's options have names and values of their own; what they do, in a few words.
constexpr WindowOption kWindowOptions[] = {
    {"contentdims", "window", "Size that the content is drawn at"},
    {"outputdims", "window", "Size on the screen"},
    {"outputrect", "window", "Place and size on the screen"},
    {"bgalpha", "window", "How opaque the black behind a movie is"},
    {"keymap", "operator", "Key map on top of the built-in keys"},
    {"gl", "diagnosis", "Player: on needs a module that this host lacks"},
    {"morvelvars", "window", "The content's variables: loop, speed, volume ..."},
    {"qlrargs", "diagnosis", "None here: there is no debug launcher"},
    {"sslclientcerttable", "network", "Client certificates, by server"},
    {"sslcertsdir", "network", "Folder of trusted certificates"},
    {"gcheaplimit", "application", "Heap of the script"},
    {"graphicsmemthreshold", "diagnosis", "Says when planes take more"},
    {"tracefps", "diagnosis", "Prints frames a second"},
    {"debugmode", "application", "Script positions and a frame counter"},
    {"tstrace", "application", "Prints what scripts trace"},
    {"notstrace", "application", "Does not"},
    {"nospeedlimit", "diagnosis", "Frames as fast as they can be drawn"},
    {"profile", "window", "What the content sees as its variable profile"},
    {"base", "window", "Where relative content is looked for"},
    {"zorbase", "application", "Folder that the application may read"},
    {"zorcmdline", "application", "Arguments of the application"},
    {"keymaster", "operator", "All keys go to this window"},
    {"proxy", "network", "Proxy for http and https"},
    {"proxyauthentication", "network", "Name and password for it"},
    {"useshell", "operator", "The operator's shell on the terminal"},
    {"noclearscreen", "window", "Leaves the display as it is until the first content"},
    {"pause", "operator", "Nothing is loaded before the operator's \"go\""},
    {"mastershellkey", "operator", "Read by the service; not needed here"},
    {"dcts", "diagnosis", "Planes that a host handed in reach the player"},
    {"spdump", "diagnosis", "Prints each parameter of the player"},
    {"fontdirs", "application", "More folders with fonts"},
    {"instrument", "diagnosis", "Prints times and counts of frames"},
    {"extensionsdir", "application", "Folder of scripts that others may load"},
    {"mousestream", "operator", "Shows the screen to VNC viewers there"},
    {"mousefeedback", "operator", "Least time between two of its pictures"},
    {"locale", "window", "Language of messages and dates"},
};

std::vector<OptionHelp> AllOptions() {
  std::vector<OptionHelp> all = LauncherOptionHelp();
  for (const OptionHelp& option : WindowOptionHelp()) {
    const std::string name = option.name.substr(2, option.name.find(' ') - 2);
    const bool own = std::any_of(all.begin(), all.end(), [&](const OptionHelp& other) {
      return other.name.compare(0, name.size() + 3, "--" + name + " ") == 0;
    });
    if (own) continue;  // the launcher has told of it
    OptionHelp help = option;
    help.topic = "window";
    for (const WindowOption& known : kWindowOptions) {
      if (name != known.name) continue;
      help.topic = known.topic;
      help.text = known.text;
    }
    all.push_back(help);
  }
  return all;
}

/// `text` from column `column` on, in lines that fit.
std::string Wrapped(const std::string& text, size_t column) {
  std::string lines;
  size_t at = column;
  for (const std::string& word : SplitAt(text, ' ')) {
    if (at > column && at + 1 + word.size() > kWidth) {
      lines += "\n" + std::string(column, ' ');
      at = column;
    } else if (at > column) {
      lines += ' ';
      ++at;
    }
    lines += word;
    at += word.size();
  }
  return lines + "\n";
}

std::string Entry(const std::string& name, const std::string& text) {
  std::string line = "  " + name;
  line += line.size() + 1 < kColumn ? std::string(kColumn - line.size(), ' ')
                                    : "\n" + std::string(kColumn, ' ');
  return text.empty() ? "  " + name + "\n" : line + Wrapped(text, kColumn);
}

std::string FirstPage() {
  std::string page =
      std::string(kUsage) +
      "Plays movies, video, pictures and applications in windows on the display.\n\n";
  const std::vector<OptionHelp> all = LauncherOptionHelp();
  for (const auto& [wanted, text] : kMostUsed) {
    for (const OptionHelp& option : all) {
      if (option.name.substr(0, option.name.find(' ')) == wanted) page += Entry(option.name, text);
    }
  }
  page += "\nplexion --help TOPIC, or \"all\":\n";
  for (const Topic& topic : kTopics) page += Entry(topic.name, topic.about);
  return page;
}

std::string CommandsPage() {
  return std::string("Commands:\n") +
         Entry("render CONTENT ...", "Exact frames as PNG files, or as an animated picture") +
         Entry("check CONTENT", "What is in it, what a frame costs, what is not drawn") +
         Entry("programme check FILE", "Is a programme right, and are its contents there") +
         Entry("programme show FILE", "What plays on a day, as a table and a picture") +
         Entry("ctl COMMAND ...", "What an operator says, to one that runs already") +
         "Each of them tells more with --help.\n";
}

std::string Page(const Topic& topic) {
  if (std::string(topic.name) == "commands") return CommandsPage();
  std::string page = std::string(topic.name) + ": " + topic.about + "\n";
  for (const OptionHelp& option : AllOptions()) {
    if (option.topic == topic.name) page += Entry(option.name, option.text);
  }
  return page;
}

}  // namespace

std::vector<std::string> HelpTopics() {
  std::vector<std::string> names;
  for (const Topic& topic : kTopics) names.emplace_back(topic.name);
  return names;
}

std::string HelpPage(const std::string& topic) {
  if (topic.empty()) return FirstPage();
  std::string all;
  for (const Topic& one : kTopics) {
    if (topic == one.name) return Page(one);
    all += "\n" + Page(one);
  }
  return topic == "all" ? kUsage + all : "";
}

std::string ShortUsage() {
  return std::string(kUsage) + "       plexion --help tells of the options\n";
}

}  // namespace plexion_host
