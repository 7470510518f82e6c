#include "host/launcher/options/WindowArguments.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

namespace plexion_host {
namespace {

bool IsDigits(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// Takes a signed number from the front of `text`, which must begin with a digit after one sign.
bool TakeNumber(const char*& text, long& number) {
  const char* digits = text;
  if (*digits == '+' || *digits == '-') ++digits;
  if (*digits < '0' || *digits > '9') return false;
  char* end = nullptr;
  number = std::strtol(text, &end, 10);
  text = end;
  return true;
}

/// `count` numbers with commas between; the last two must be greater than zero.
bool AreNumbers(const std::string& value, int count) {
  const char* text = value.c_str();
  for (int i = 0; i < count; ++i) {
    long number = 0;
    if (i > 0 && *text++ != ',') return false;
    if (!TakeNumber(text, number)) return false;
    if (i >= count - 2 && number <= 0) return false;
  }
  return *text == '\0';
}

bool IsDims(const std::string& value) { return AreNumbers(value, 2); }
bool IsRect(const std::string& value) { return AreNumbers(value, 4); }

bool IsByte(const std::string& value) {
  return !value.empty() && std::strtoul(value.c_str(), nullptr, 10) <= 255;
}

bool IsOnOff(const std::string& value) { return value == "on" || value == "off"; }
bool IsProfile(const std::string& value) { return value == "tv" || value == "extendedTV"; }

bool IsDuration(const std::string& value) {
  const size_t digits = value.find_first_not_of("0123456789", value[0] == '+' ? 1 : 0);
  if (digits == std::string::npos || digits == 0 || (value[0] == '+' && digits == 1)) return false;
  const char* const unit = value.c_str() + digits;
  return strcasecmp(unit, "s") == 0 || strcasecmp(unit, "ms") == 0;
}

bool IsMegabytes(const std::string& value, std::string& rest) {
  char* end = nullptr;
  const unsigned long number = std::strtoul(value.c_str(), &end, 10);
  rest = end;
  return !value.empty() && number < 4096;
}

bool IsHeapLimit(const std::string& value) {
  std::string rest;
  return IsMegabytes(value, rest) && rest != "M";  // kept: the service takes 64 and 64MB, not 64M
}

bool IsGraphicsLimit(const std::string& value) {
  std::string rest;
  return IsMegabytes(value, rest) && (rest.empty() || rest == "M");
}

bool IsAddress(const std::string& value) {
  size_t begin = 0;
  for (int part = 0; part < 4; ++part) {
    const size_t dot = part < 3 ? value.find('.', begin) : value.size();
    if (dot == std::string::npos) return false;
    const std::string number = value.substr(begin, dot - begin);
    begin = dot + 1;
    if (number.empty() && part < 3) continue;  // kept: the service takes an empty inner part
    if (!IsDigits(number) || std::strtoul(number.c_str(), nullptr, 10) > 255) return false;
  }
  return true;
}

bool IsModuleMap(const std::string& value) {
  const size_t colon = value.find(':');
  return colon != std::string::npos && colon != 0 &&
         value.find_first_not_of(':', colon) != std::string::npos;
}

bool IsKeyCode(const std::string& value) { return !value.empty() && value[0] != '-'; }

/// An option of the service.
struct Option {
  const char* name;
  int values;
  bool (*isRight)(const std::string& value);  ///< of the first value; null: any will do
  const char* expected;
};

constexpr Option kOptions[] = {
    {"contentdims", 1, IsDims, "W,H with both greater than zero, for example 1280,720"},
    {"outputdims", 1, IsDims, "W,H with both greater than zero, for example 1280,720"},
    {"outputrect", 1, IsRect,
     "X,Y,W,H with width and height greater than zero, for example 0,0,640,360"},
    {"bgalpha", 1, IsByte, "a number from 0 to 255"},
    {"keymap", 1, nullptr, "a file name"},
    {"gl", 1, IsOnOff, "on or off"},
    {"morvelvars", 1, nullptr, "a string"},
    {"qlrargs", 1, nullptr, "a string"},
    {"sslclientcerttable", 1, nullptr, "a string"},
    {"sslcertsdir", 1, nullptr, "a folder"},
    {"gcheaplimit", 1, IsHeapLimit, "megabytes from 0 to 4095 without a unit, for example 64"},
    {"graphicsmemthreshold", 1, IsGraphicsLimit, "megabytes from 0 to 4095, for example 30M"},
    {"tracefps", 1, IsDuration, "a duration with its unit, for example 5000MS or 5S"},
    {"debugmode", 0, nullptr, nullptr},
    {"tstrace", 0, nullptr, nullptr},
    {"notstrace", 0, nullptr, nullptr},
    {"nospeedlimit", 0, nullptr, nullptr},
    {"profile", 1, IsProfile, "tv or extendedTV"},
    {"base", 1, nullptr, "a string"},
    {"zorbase", 1, nullptr, "a folder"},
    {"zorcmdline", 1, nullptr, "a string"},
    {"keymaster", 0, nullptr, nullptr},
    {"proxy", 1, IsAddress, "an address of four numbers from 0 to 255, for example 10.0.0.1"},
    {"proxyauthentication", 2, nullptr, "a user name and a password"},
    {"useshell", 0, nullptr, nullptr},
    {"noclearscreen", 0, nullptr, nullptr},
    {"pause", 0, nullptr, nullptr},
    {"mastershellkey", 1, IsKeyCode, "a key code"},
    {"dcts", 0, nullptr, nullptr},
    {"spdump", 0, nullptr, nullptr},
    {"fontdirs", 1, nullptr, "folders with commas between"},
    {"instrument", 0, nullptr, nullptr},
    {"extensionsdir", 1, nullptr, "a folder"},
    {"modulemap", 1, IsModuleMap, "NAME:FILE, for example IShell:my/Shell.so"},
    {"mousestream", 1, nullptr, "ADDRESS:PORT, for example 127.0.0.1:5900"},
    {"mousefeedback", 1, nullptr, "a number of seconds"},
    {"locale", 1, nullptr, "a locale, for example en_US.UTF-8"},
};

bool IsOption(const std::string& argument) { return argument.compare(0, 2, "--") == 0; }

const Option* FindOption(const std::string& argument) {
  if (!IsOption(argument)) return nullptr;
  for (const Option& option : kOptions) {
    if (argument.compare(2, std::string::npos, option.name) == 0) return &option;
  }
  return nullptr;
}

/// What the service asks of a content's name. Returns  the error, or an empty text.
std::string ContentError(const std::string& content, bool zorBaseGiven) {
  const size_t dot = content.rfind('.');
  const std::string extension =
      dot == std::string::npos || dot == 0 ? std::string() : content.substr(dot);
  if (extension == ".xml" && !zorBaseGiven) {
    return "'" + content + "' is an application descriptor: --zorbase DIR must stand before it";
  }
  if (extension != ".xml" && zorBaseGiven) {
    return "'" + content + "' cannot follow --zorbase: expected an application descriptor (.xml)";
  }
  return {};
}

/// Notes an option in `line`. Returns  the error, or an empty text.
std::string TakeOption(const Option& option, const std::vector<std::string>& arguments,
                       size_t index, WindowLine& line) {
  const std::string name = std::string("--") + option.name;
  if (arguments.size() - index - 1 < static_cast<size_t>(option.values)) {
    return name + " needs " + option.expected;
  }
  if (option.values == 0) {
    if (name == "--keymaster") line.keyMaster = true;
    if (name == "--noclearscreen") line.keepScreen = true;
    return {};
  }
  const std::string& value = arguments[index + 1];
  if (option.isRight != nullptr && !option.isRight(value)) {
    return name + ": '" + value + "' is not " + option.expected;
  }
  if (name == "--keymap") line.keymap = value;
  if (name == "--mousestream") line.mouseStream = value;
  if (name == "--locale") line.locale = value;
  return {};
}

}  // namespace

size_t ServiceValueCount(const std::vector<std::string>& arguments, size_t index) {
  const Option* const option = FindOption(arguments[index]);
  if (option == nullptr) return 0;
  auto values = static_cast<size_t>(option->values);
  // A port may follow the proxy's address; anything else there is an argument of its own.
  if (std::strcmp(option->name, "proxy") == 0 && index + 2 < arguments.size()) {
    const std::string& port = arguments[index + 2];
    if (port.empty() || (IsDigits(port) && std::strtoul(port.c_str(), nullptr, 10) < 65536)) {
      ++values;
    }
  }
  return values;
}

WindowLines SplitWindows(const std::vector<std::string>& arguments, size_t maxWindows) {
  WindowLines lines;
  WindowLine line;
  bool zorBaseGiven = false;
  size_t index = 0;
  while (index < arguments.size() && lines.error.empty()) {
    const std::string& argument = arguments[index];
    size_t taken = 1;
    if (!IsOption(argument)) {
      lines.error = ContentError(argument, zorBaseGiven);
    } else if (const Option* const option = FindOption(argument)) {
      lines.error = TakeOption(*option, arguments, index, line);
      taken += ServiceValueCount(arguments, index);
      zorBaseGiven = zorBaseGiven || argument == "--zorbase";
    } else {
      lines.error = "unknown option '" + argument + "'";
    }
    if (!lines.error.empty()) break;
    for (size_t i = index; i < index + taken; ++i) line.arguments.push_back(arguments[i]);
    index += taken;
    if (IsOption(argument)) continue;

    if (lines.windows.size() == maxWindows) {
      lines.error = "too many contents: '" + argument + "' is one more than the " +
                    std::to_string(maxWindows) + " windows that there can be";
      break;
    }
    line.content = argument;
    lines.windows.push_back(line);
    const std::string locale = line.locale;
    line = WindowLine();
    line.locale = locale;
    zorBaseGiven = false;
  }
  if (lines.error.empty() && !line.arguments.empty()) {
    lines.error = "no content behind '" + line.arguments.front() + "'";
  } else if (lines.error.empty() && lines.windows.empty()) {
    lines.error = "no content is named";
  }
  return lines;
}

std::vector<const char*> AsArgv(const char* program, const std::vector<std::string>& arguments) {
  std::vector<const char*> argv{program};
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  argv.push_back(nullptr);
  return argv;
}

}  // namespace plexion_host
