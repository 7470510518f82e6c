// From a command line to the parameters of one window: a table of options, and the loop over it.
// Nothing is printed here; callers show the usage text when they get false.

#include "qx/plexion/IPlexionImpl.h"

namespace qx {
namespace plexion {

namespace {

using Parameters = StageWindowParameters;

/// The words of the command line that have not been used up.
class Words {
 public:
  Words(int argc, const char** argv, int index) : argc_(argc), argv_(argv), index_(index) {}

  bool AreLeft() const { return index_ < argc_; }
  int Index() const { return index_; }
  /// The next word, still there afterwards; null at the end.
  const char* Peek() const { return AreLeft() ? argv_[index_] : nullptr; }
  /// The next word; null at the end.
  const char* Take() { return AreLeft() ? argv_[index_++] : nullptr; }

 private:
  int argc_;
  const char** argv_;
  int index_;
};

bool IsEmpty(const char* text) { return text[0] == '\0'; }

bool Same(IQXKernel* kernel, const char* left, const char* right) {
  return kernel->StrCmp(left, right) == 0;
}

/// Whether there is at least one character before `end`, and all of them are digits.
bool AreDigits(const char* text, const char* end) {
  if (text == end) return false;
  for (; text != end; ++text) {
    if (*text < '0' || *text > '9') return false;
  }
  return true;
}

const char* EndOf(IQXKernel* kernel, const char* text) { return text + kernel->StrLen(text); }

unsigned long ReadUnsigned(IQXKernel* kernel, const char* text, const char*& rest) {
  char* end = nullptr;
  const unsigned long number = kernel->StrToUL(text, &end, 10);
  rest = end;
  return number;
}

/// One of two words, as `first` or `second`.
bool ReadChoice(IQXKernel* kernel, const char* value, const char* firstWord, int32_t first,
                const char* secondWord, int32_t second, int32_t& choice) {
  if (value == nullptr) return false;
  if (Same(kernel, value, firstWord)) {
    choice = first;
  } else if (Same(kernel, value, secondWord)) {
    choice = second;
  } else {
    return false;
  }
  return true;
}

/// A number of megabytes below 4096; `rest` is what follows it.
bool ReadMegabytes(IQXKernel* kernel, const char* value, unsigned long& megabytes,
                   const char*& rest) {
  constexpr unsigned long kTooMany = 4096;
  if (value == nullptr || IsEmpty(value)) return false;
  megabytes = ReadUnsigned(kernel, value, rest);
  return megabytes < kTooMany;
}

/// Four numbers of at most 255 between dots; the first three may be missing (kept).
bool IsDottedAddress(IQXKernel* kernel, const char* text) {
  constexpr unsigned long kLargestPart = 255;
  const char* rest = nullptr;
  for (int part = 0; part < 3; ++part) {
    const char* const dot = kernel->StrChr(text, '.');
    if (dot == nullptr) return false;
    if (dot != text && (!AreDigits(text, dot) || ReadUnsigned(kernel, text, rest) > kLargestPart)) {
      return false;
    }
    text = dot + 1;
  }
  return AreDigits(text, EndOf(kernel, text)) && ReadUnsigned(kernel, text, rest) <= kLargestPart;
}

// Options that need more than storing a text or setting a switch. Each takes its values itself.

bool ReadContentDims(IPlexionImpl& service, Words& words, Parameters& parameters) {
  const char* const value = words.Take();
  return value != nullptr && service.ReadDimsArg(value, parameters.contentDims);
}

bool ReadOutputDims(IPlexionImpl& service, Words& words, Parameters& parameters) {
  const char* const value = words.Take();
  return value != nullptr && service.ReadDimsArg(value, parameters.outputDims);
}

bool ReadOutputRect(IPlexionImpl& service, Words& words, Parameters& parameters) {
  const char* const value = words.Take();
  return value != nullptr && service.ReadRectArg(value, parameters.outputRect);
}

bool ReadBgAlpha(IPlexionImpl& service, Words& words, Parameters& parameters) {
  const char* const value = words.Take();
  if (value == nullptr || IsEmpty(value)) return false;
  const char* rest = nullptr;  // not looked at (kept)
  const unsigned long alpha = ReadUnsigned(service.kernel, value, rest);
  if (alpha > 255) return false;
  parameters.bgAlpha = static_cast<uint8_t>(alpha);
  return true;
}

bool ReadGl(IPlexionImpl& service, Words& words, Parameters& parameters) {
  return ReadChoice(service.kernel, words.Take(), "on", kGlOn, "off", kGlOff, parameters.gl);
}

bool ReadProfile(IPlexionImpl& service, Words& words, Parameters& parameters) {
  return ReadChoice(service.kernel, words.Take(), "tv", kProfileTv, "extendedTV",
                    kProfileExtendedTv, parameters.profile);
}

bool ReadGcHeapLimit(IPlexionImpl& service, Words& words, Parameters& parameters) {
  unsigned long megabytes = 0;
  const char* rest = nullptr;
  if (!ReadMegabytes(service.kernel, words.Take(), megabytes, rest)) return false;
  // The other way round than below: "M" alone is refused, anything else passes (kept).
  if (Same(service.kernel, rest, "M")) return false;
  parameters.gcHeapLimit = static_cast<uint32_t>(megabytes);
  return true;
}

bool ReadGraphicsMemThreshold(IPlexionImpl& service, Words& words, Parameters& parameters) {
  unsigned long megabytes = 0;
  const char* rest = nullptr;
  if (!ReadMegabytes(service.kernel, words.Take(), megabytes, rest)) return false;
  if (!IsEmpty(rest) && !Same(service.kernel, rest, "M")) return false;
  parameters.graphicsMemThreshold = static_cast<uint32_t>(megabytes);
  return true;
}

bool ReadTraceFps(IPlexionImpl& service, Words& words, Parameters& parameters) {
  constexpr unsigned long kLargestField = 0xFFFFFFFFUL;
  parameters.traceFlags |= kTraceFrameRate;  // stays when the period is wrong (kept)
  const char* const value = words.Take();
  unsigned long milliseconds = 0;
  if (value == nullptr || !service.ReadDurationArg(value, milliseconds)) return false;
  parameters.traceFps =
      static_cast<uint32_t>(milliseconds < kLargestField ? milliseconds : kLargestField);
  return true;
}

bool SetDebugMode(IPlexionImpl&, Words&, Parameters& parameters) {
  parameters.debugMode = true;
  parameters.traceFlags |= kTraceScript;
  return true;
}

bool SetScriptTrace(IPlexionImpl&, Words&, Parameters& parameters) {
  parameters.traceFlags |= kTraceScript;
  return true;
}

bool ClearScriptTrace(IPlexionImpl&, Words&, Parameters& parameters) {
  parameters.traceFlags &= ~static_cast<uint32_t>(kTraceScript);
  parameters.debugMode = false;
  return true;
}

/// The address, and the port when the next word can be one; any other word is left alone.
bool ReadProxy(IPlexionImpl& service, Words& words, Parameters& parameters) {
  constexpr unsigned long kLargestPort = 65535;
  IQXKernel* const kernel = service.kernel;
  const char* const address = words.Take();
  if (address == nullptr || !IsDottedAddress(kernel, address)) return false;
  parameters.proxy = address;

  const char* const next = words.Peek();
  if (next == nullptr) return true;
  unsigned long port = 0;
  if (!IsEmpty(next)) {
    const char* rest = nullptr;
    if (!AreDigits(next, EndOf(kernel, next))) return true;
    port = ReadUnsigned(kernel, next, rest);
    if (port > kLargestPort) return true;
  }
  parameters.proxyPort = static_cast<uint16_t>(port);
  words.Take();
  return true;
}

bool ReadProxyAuthentication(IPlexionImpl&, Words& words, Parameters& parameters) {
  const char* const user = words.Take();
  const char* const password = words.Take();
  if (password == nullptr) return false;
  parameters.proxyUser = user;
  parameters.proxyPassword = password;
  return true;
}

/// The service has read the key from the host's own command line.
bool CheckMasterShellKey(IPlexionImpl&, Words& words, Parameters&) {
  const char* const key = words.Take();
  return key != nullptr && !IsEmpty(key) && key[0] != '-';
}

/// The host's kernel has read the map from the host's own command line.
bool CheckModuleMap(IPlexionImpl& service, Words& words, Parameters&) {
  const char* const map = words.Take();
  if (map == nullptr) return false;
  const char* file = service.kernel->StrChr(map, ':');
  if (file == nullptr || file == map) return false;
  while (*file == ':') ++file;
  return !IsEmpty(file);
}

bool ReadMouseFeedback(IPlexionImpl& service, Words& words, Parameters& parameters) {
  constexpr long kLargest = 0x7FFFFFFFL;
  constexpr long kSmallest = -0x80000000L;
  const char* const value = words.Take();
  if (value == nullptr) return false;
  char* end = nullptr;
  long seconds = service.kernel->StrToL(value, &end, 10);
  if (seconds > kLargest) seconds = kLargest;
  if (seconds < kSmallest) seconds = kSmallest;
  parameters.mouseFeedback = static_cast<int32_t>(seconds);
  return true;
}

/// An option and what it does; with all three null it is one that the host reads for itself.
struct Option {
  const char* name;
  const char* Parameters::*text;
  bool Parameters::*flag;
  bool (*read)(IPlexionImpl& service, Words& words, Parameters& parameters);
};

constexpr Option Text(const char* name, const char* Parameters::*field) {
  return {name, field, nullptr, nullptr};
}
constexpr Option Switch(const char* name, bool Parameters::*field) {
  return {name, nullptr, field, nullptr};
}
constexpr Option Read(const char* name, decltype(Option::read) reader) {
  return {name, nullptr, nullptr, reader};
}
constexpr Option Ignored(const char* name) { return {name, nullptr, nullptr, nullptr}; }

constexpr Option kOptions[] = {
    Read("contentdims", ReadContentDims),
    Read("outputdims", ReadOutputDims),
    Read("outputrect", ReadOutputRect),
    Read("bgalpha", ReadBgAlpha),
    Text("keymap", &Parameters::keymap),
    Read("gl", ReadGl),
    Text("morvelvars", &Parameters::morvelVars),
    Text("qlrargs", &Parameters::qlrArgs),
    Text("sslclientcerttable", &Parameters::sslClientCertTable),
    Text("sslcertsdir", &Parameters::sslCertsDir),
    Read("gcheaplimit", ReadGcHeapLimit),
    Read("graphicsmemthreshold", ReadGraphicsMemThreshold),
    Read("tracefps", ReadTraceFps),
    Read("debugmode", SetDebugMode),
    Read("tstrace", SetScriptTrace),
    Read("notstrace", ClearScriptTrace),
    Switch("nospeedlimit", &Parameters::noSpeedLimit),
    Read("profile", ReadProfile),
    Text("base", &Parameters::base),
    Text("zorbase", &Parameters::zorBase),
    Text("zorcmdline", &Parameters::zorCmdLine),
    Switch("keymaster", &Parameters::keyMaster),
    Read("proxy", ReadProxy),
    Read("proxyauthentication", ReadProxyAuthentication),
    Ignored("useshell"),
    Ignored("noclearscreen"),
    Ignored("pause"),
    Read("mastershellkey", CheckMasterShellKey),
    Switch("dcts", &Parameters::dcts),
    Switch("spdump", &Parameters::spdump),
    Text("fontdirs", &Parameters::fontDirs),
    Switch("instrument", &Parameters::instrument),
    Text("extensionsdir", &Parameters::extensionsDir),
    Read("modulemap", CheckModuleMap),
    Text("mousestream", &Parameters::mouseStream),
    Read("mousefeedback", ReadMouseFeedback),
    Text("locale", &Parameters::locale),
};

bool Apply(const Option& option, IPlexionImpl& service, Words& words, Parameters& parameters) {
  if (option.text != nullptr) {
    const char* const value = words.Take();
    if (value == nullptr) return false;
    parameters.*option.text = value;
  } else if (option.flag != nullptr) {
    parameters.*option.flag = true;
  } else if (option.read != nullptr) {
    return option.read(service, words, parameters);
  }
  return true;
}

bool ApplyOption(const char* name, IPlexionImpl& service, Words& words, Parameters& parameters) {
  for (const Option& option : kOptions) {
    if (Same(service.kernel, option.name, name)) {
      return Apply(option, service, words, parameters);
    }
  }
  return false;
}

/// An application descriptor needs a ZOR base before it; a movie or a directory must have none.
bool TakeContent(IQXKernel* kernel, const char* path, Parameters& parameters) {
  if (parameters.contentPath != nullptr) return false;
  const char* const dot = kernel->StrRChr(path, '.');
  const bool isDescriptor = dot != nullptr && dot != path && Same(kernel, dot, ".xml");
  if (isDescriptor != (parameters.zorBase != nullptr)) return false;
  parameters.contentPath = path;
  return true;
}

}  // namespace

bool IPlexionImpl::ParseCommandLineParameters(int argc, const char** argv,
                                              StageWindowParameters& parameters) {
  int index = 1;
  return ParseCommandLineParametersForOneStageWindow(argc, argv, index, parameters, false) != 0 &&
         index == argc;
}

int IPlexionImpl::ParseCommandLineParametersForOneStageWindow(int argc, const char** argv,
                                                              int& index,
                                                              StageWindowParameters& parameters,
                                                              bool stopAfterContent) {
  InitParameters(parameters);
  if (argc < 2) return 0;
  while (index < argc) {
    const char* const word = argv[index++];
    if (word[0] == '-' && word[1] == '-') {
      // A failing option leaves the index behind its name, whatever it has looked at since.
      Words words(argc, argv, index);
      if (!ApplyOption(word + 2, *this, words, parameters)) return 0;
      index = words.Index();
    } else {
      if (!TakeContent(kernel, word, parameters)) return 0;
      if (stopAfterContent) return 1;
    }
  }
  return 1;
}

}  // namespace plexion
}  // namespace qx
