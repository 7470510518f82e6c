// The one grammar of a window's command line: every option with its values, how they are read and
// what is expected of them, and the loop over the words of one window. The service fills its
// parameters with it and writes its usage text from it; a launcher asks it why a line is refused.

#ifndef QX_PLEXION_COMMANDLINEGRAMMAR_H_
#define QX_PLEXION_COMMANDLINEGRAMMAR_H_

#include <stdint.h>

#include "qx/plexion/StageWindowParameters.h"

namespace qx {
namespace plexion {
namespace grammar {

// Everything here works on the text operations of `Texts`: StrCmp, StrLen, StrChr, StrRChr, StrToL
// and StrToUL, with the meaning that IQXKernel gives them. The service passes its kernel; a host
// passes whatever has them. Nothing is printed and nothing is kept but pointers into the words.

/// The words of a command line that have not been used up.
class Words {
 public:
  Words(int argc, const char* const* argv, int index) : argc_(argc), argv_(argv), index_(index) {}

  int Left() const { return argc_ - index_; }
  int Index() const { return index_; }
  /// The next word, still there afterwards; null at the end.
  const char* Peek() const { return Left() > 0 ? argv_[index_] : nullptr; }
  /// The next word; null at the end.
  const char* Take() { return Left() > 0 ? argv_[index_++] : nullptr; }

 private:
  const int argc_;
  const char* const* const argv_;
  int index_;
};

// Readers of values. Each answers false for what it does not take.

inline bool IsEmpty(const char* text) { return text[0] == '\0'; }
inline bool IsDigit(char character) { return character >= '0' && character <= '9'; }

/// Whether there is at least one character before `end`, and all of them are digits.
inline bool AreDigits(const char* text, const char* end) {
  if (text == end) return false;
  for (; text != end; ++text) {
    if (!IsDigit(*text)) return false;
  }
  return true;
}

template <class Texts>
bool Same(Texts& texts, const char* left, const char* right) {
  return texts.StrCmp(left, right) == 0;
}

template <class Texts>
unsigned long ReadUnsigned(Texts& texts, const char* text, const char*& rest) {
  char* end = nullptr;
  const unsigned long number = texts.StrToUL(text, &end, 10);
  rest = end;
  return number;
}

/// Reads a base-10 number, an optional sign and then a digit, and moves `text` behind it.
template <class Texts>
bool ReadSigned(Texts& texts, const char*& text, int64_t& value) {
  const char* const digits = text + (*text == '+' || *text == '-' ? 1 : 0);
  if (!IsDigit(*digits)) return false;
  char* end = nullptr;
  // A long of 32 bits holds half of what a field does: the upper half is read without a sign.
  if (sizeof(long) == sizeof(uint32_t) && *text != '-') {
    value = static_cast<int64_t>(texts.StrToUL(text, &end, 10));
  } else {
    value = texts.StrToL(text, &end, 10);
  }
  text = end;
  return true;
}

/// A signed number as a 32-bit field keeps it: negative ones as their two's-complement pattern.
/// What does not fit becomes the nearest that does, so that no size turns into another by wrapping.
inline uint32_t ToField(int64_t value) {
  if (value > INT64_C(0xFFFFFFFF)) return 0xFFFFFFFFu;
  if (value < -INT64_C(0x80000000)) return 0x80000000u;
  return static_cast<uint32_t>(value);
}

inline bool ReadComma(const char*& text) {
  if (*text != ',') return false;
  ++text;
  return true;
}

/// "w,h", both above zero, and then the end of the text.
template <class Texts>
bool ReadDims(Texts& texts, const char* text, Dims& dims) {
  int64_t width = 0;
  int64_t height = 0;
  if (!ReadSigned(texts, text, width) || !ReadComma(text)) return false;
  if (!ReadSigned(texts, text, height) || *text != '\0') return false;
  if (width <= 0 || height <= 0) return false;
  dims = Dims{ToField(width), ToField(height)};
  return true;
}

/// "x,y,w,h" with w and h above zero. x and y are stored as they are read, also when what follows
/// is wrong: callers that go on after a refusal see where the window was to be.
template <class Texts>
bool ReadRect(Texts& texts, const char* text, Rect& rect) {
  int64_t value = 0;
  if (!ReadSigned(texts, text, value)) return false;
  rect.x = ToField(value);
  if (!ReadComma(text) || !ReadSigned(texts, text, value)) return false;
  rect.y = ToField(value);
  Dims size = {0, 0};
  if (!ReadComma(text) || !ReadDims(texts, text, size)) return false;
  rect.width = size.width;
  rect.height = size.height;
  return true;
}

inline char ToUpper(char character) {
  return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A')
                                              : character;
}

/// A number with "S" or "MS" behind it. The unit is not optional: a bare number could be either.
template <class Texts>
bool ReadDuration(Texts& texts, const char* text, unsigned long& milliseconds) {
  constexpr unsigned long kMsPerSecond = 1000;
  // No minus sign: the conversion would read what follows it as a huge number.
  if (!IsDigit(text[0] == '+' ? text[1] : text[0])) return false;
  const char* unit = nullptr;
  const unsigned long number = ReadUnsigned(texts, text, unit);
  if (ToUpper(unit[0]) == 'S' && unit[1] == '\0') {
    milliseconds = number > ~0UL / kMsPerSecond ? ~0UL : number * kMsPerSecond;
    return true;
  }
  if (ToUpper(unit[0]) == 'M' && ToUpper(unit[1]) == 'S' && unit[2] == '\0') {
    milliseconds = number;
    return true;
  }
  return false;
}

/// One of two words, as `first` or `second`.
template <class Texts>
bool ReadChoice(Texts& texts, const char* value, const char* firstWord, int32_t first,
                const char* secondWord, int32_t second, int32_t& choice) {
  const bool isFirst = Same(texts, value, firstWord);
  if (!isFirst && !Same(texts, value, secondWord)) return false;
  choice = isFirst ? first : second;
  return true;
}

/// A number of megabytes below 4096; `rest` is what follows it.
template <class Texts>
bool ReadMegabytes(Texts& texts, const char* value, uint32_t& megabytes, const char*& rest) {
  constexpr unsigned long kTooMany = 4096;
  if (IsEmpty(value)) return false;
  const unsigned long number = ReadUnsigned(texts, value, rest);
  if (number >= kTooMany) return false;
  megabytes = static_cast<uint32_t>(number);
  return true;
}

/// Four numbers of at most 255 between dots. The first three may be left out: scripts of devices
/// write "10..0.1".
template <class Texts>
bool IsDottedAddress(Texts& texts, const char* text) {
  constexpr unsigned long kLargestPart = 255;
  const char* rest = nullptr;
  for (int part = 0; part < 3; ++part) {
    const char* const dot = texts.StrChr(text, '.');
    if (dot == nullptr) return false;
    if (dot != text && (!AreDigits(text, dot) || ReadUnsigned(texts, text, rest) > kLargestPart)) {
      return false;
    }
    text = dot + 1;
  }
  return AreDigits(text, text + texts.StrLen(text)) &&
         ReadUnsigned(texts, text, rest) <= kLargestPart;
}

// Options that need more than storing a text or setting a switch. `value` is the option's first
// word and already taken, or null for an option without; further words each takes itself.

using Parameters = StageWindowParameters;

template <class Texts>
bool TakeContentDims(Texts& texts, const char* value, Words&, Parameters& parameters) {
  return ReadDims(texts, value, parameters.contentDims);
}

template <class Texts>
bool TakeOutputDims(Texts& texts, const char* value, Words&, Parameters& parameters) {
  return ReadDims(texts, value, parameters.outputDims);
}

template <class Texts>
bool TakeOutputRect(Texts& texts, const char* value, Words&, Parameters& parameters) {
  return ReadRect(texts, value, parameters.outputRect);
}

template <class Texts>
bool TakeBgAlpha(Texts& texts, const char* value, Words&, Parameters& parameters) {
  if (IsEmpty(value)) return false;
  const char* rest = nullptr;  // not looked at: "200x" is 200, which scripts of devices rely on
  const unsigned long alpha = ReadUnsigned(texts, value, rest);
  if (alpha > 255) return false;
  parameters.bgAlpha = static_cast<uint8_t>(alpha);
  return true;
}

template <class Texts>
bool TakeGl(Texts& texts, const char* value, Words&, Parameters& parameters) {
  return ReadChoice(texts, value, "on", kGlOn, "off", kGlOff, parameters.gl);
}

template <class Texts>
bool TakeProfile(Texts& texts, const char* value, Words&, Parameters& parameters) {
  return ReadChoice(texts, value, "tv", kProfileTv, "extendedTV", kProfileExtendedTv,
                    parameters.profile);
}

/// The other way round than below: "M" alone is refused, and anything else behind the number
/// passes. Scripts of devices write "64" and "64MB".
template <class Texts>
bool TakeGcHeapLimit(Texts& texts, const char* value, Words&, Parameters& parameters) {
  uint32_t megabytes = 0;
  const char* rest = nullptr;
  if (!ReadMegabytes(texts, value, megabytes, rest) || Same(texts, rest, "M")) return false;
  parameters.gcHeapLimit = megabytes;
  return true;
}

template <class Texts>
bool TakeGraphicsMemThreshold(Texts& texts, const char* value, Words&, Parameters& parameters) {
  uint32_t megabytes = 0;
  const char* rest = nullptr;
  if (!ReadMegabytes(texts, value, megabytes, rest)) return false;
  if (!IsEmpty(rest) && !Same(texts, rest, "M")) return false;
  parameters.graphicsMemThreshold = megabytes;
  return true;
}

template <class Texts>
bool TakeTraceFps(Texts& texts, const char* value, Words&, Parameters& parameters) {
  unsigned long milliseconds = 0;
  if (!ReadDuration(texts, value, milliseconds)) return false;
  parameters.traceFps =
      static_cast<uint32_t>(milliseconds < 0xFFFFFFFFUL ? milliseconds : 0xFFFFFFFFUL);
  return true;
}

template <class Texts>
bool ClearScriptTrace(Texts&, const char*, Words&, Parameters& parameters) {
  parameters.traceFlags &= ~static_cast<uint32_t>(kTraceScript);
  parameters.debugMode = false;
  return true;
}

/// The address, and the port when the next word can be one; any other word is left alone.
template <class Texts>
bool TakeProxy(Texts& texts, const char* address, Words& words, Parameters& parameters) {
  constexpr unsigned long kLargestPort = 65535;
  if (!IsDottedAddress(texts, address)) return false;
  parameters.proxy = address;
  const char* const next = words.Peek();
  if (next == nullptr) return true;
  unsigned long port = 0;
  if (!IsEmpty(next)) {
    const char* rest = nullptr;
    if (!AreDigits(next, next + texts.StrLen(next))) return true;
    port = ReadUnsigned(texts, next, rest);
    if (port > kLargestPort) return true;
  }
  parameters.proxyPort = static_cast<uint16_t>(port);
  words.Take();
  return true;
}

template <class Texts>
bool TakeProxyAuthentication(Texts&, const char* user, Words& words, Parameters& parameters) {
  parameters.proxyUser = user;
  parameters.proxyPassword = words.Take();
  return true;
}

/// The service has read the key from the host's own command line.
template <class Texts>
bool CheckMasterShellKey(Texts&, const char* key, Words&, Parameters&) {
  return !IsEmpty(key) && key[0] != '-';
}

/// The host's kernel has read the map from the host's own command line.
template <class Texts>
bool CheckModuleMap(Texts& texts, const char* map, Words&, Parameters&) {
  const char* file = texts.StrChr(map, ':');
  if (file == nullptr || file == map) return false;
  while (*file == ':') ++file;
  return !IsEmpty(file);
}

template <class Texts>
bool TakeMouseFeedback(Texts& texts, const char* value, Words&, Parameters& parameters) {
  char* end = nullptr;
  int64_t seconds = texts.StrToL(value, &end, 10);
  if (seconds > INT32_MAX) seconds = INT32_MAX;
  if (seconds < INT32_MIN) seconds = INT32_MIN;
  parameters.mouseFeedback = static_cast<int32_t>(seconds);
  return true;
}

/// An option. One that neither stores nor takes nor traces anything the host reads for itself.
template <class Texts>
struct Option {
  const char* name;      ///< without the two dashes
  int valueCount;        ///< words that must follow it
  const char* values;    ///< the same for people, with remarks; "" for none
  const char* expected;  ///< of the values, as the end of a sentence; null for none
  const char* Parameters::*text;
  bool Parameters::*flag;
  bool (*take)(Texts& texts, const char* value, Words& words, Parameters& parameters);
  uint32_t trace;  ///< bits of traceFlags that are set, whatever becomes of the values
};

template <class Texts>
constexpr Option<Texts> Text(const char* name, const char* values, const char* expected,
                             const char* Parameters::*field) {
  return {name, 1, values, expected, field, nullptr, nullptr, 0};
}
template <class Texts>
constexpr Option<Texts> Value(const char* name, const char* values, const char* expected,
                              decltype(Option<Texts>::take) take, int count = 1,
                              uint32_t trace = 0) {
  return {name, count, values, expected, nullptr, nullptr, take, trace};
}
template <class Texts>
constexpr Option<Texts> Switch(const char* name, bool Parameters::*field, uint32_t trace = 0) {
  return {name, 0, "", nullptr, nullptr, field, nullptr, trace};
}
template <class Texts>
constexpr Option<Texts> Action(const char* name, decltype(Option<Texts>::take) take) {
  return {name, 0, "", nullptr, nullptr, nullptr, take, 0};
}

/// Every option that there is, in the order in which a word is compared with them.
template <class T>
constexpr Option<T> kOptions[] = {
    Value<T>("contentdims", "w,h", "W,H with both greater than zero, for example 1280,720",
             TakeContentDims<T>),
    Value<T>("outputdims", "w,h", "W,H with both greater than zero, for example 1280,720",
             TakeOutputDims<T>),
    Value<T>("outputrect", "x,y,w,h",
             "X,Y,W,H with width and height greater than zero, for example 0,0,640,360",
             TakeOutputRect<T>),
    Value<T>("bgalpha", "<0-255>", "a number from 0 to 255", TakeBgAlpha<T>),
    Text<T>("keymap", "filename", "a file name", &Parameters::keymap),
    Value<T>("gl", "[on|off] (overrides default OpenGL mode)", "on or off", TakeGl<T>),
    Text<T>("morvelvars", "<name=value&name=value>", "a string", &Parameters::morvelVars),
    Text<T>("qlrargs", "<debug launcher arguments>", "a string", &Parameters::qlrArgs),
    Text<T>("sslclientcerttable", "<sslclientcerttable-string>", "a string",
            &Parameters::sslClientCertTable),
    Text<T>("sslcertsdir", "<ssl certificates directory>", "a folder", &Parameters::sslCertsDir),
    Value<T>("gcheaplimit", "<megabytes>",
             "megabytes from 0 to 4095 without a unit, for example 64", TakeGcHeapLimit<T>),
    Value<T>("graphicsmemthreshold", "<num[M]>", "megabytes from 0 to 4095, for example 30M",
             TakeGraphicsMemThreshold<T>),
    Value<T>("tracefps", "<samplePeriod[MS|S]> (e.g. 5000MS or 5S)",
             "a duration with its unit, for example 5000MS or 5S", TakeTraceFps<T>, 1,
             kTraceFrameRate),
    Switch<T>("debugmode", &Parameters::debugMode, kTraceScript),
    Switch<T>("tstrace", nullptr, kTraceScript),
    Action<T>("notstrace", ClearScriptTrace<T>),
    Switch<T>("nospeedlimit", &Parameters::noSpeedLimit),
    Value<T>("profile", "[tv|extendedTV]", "tv or extendedTV", TakeProfile<T>),
    Text<T>("base", "<base location>", "a string", &Parameters::base),
    Text<T>("zorbase", "<zor-base-dir-path>", "a folder", &Parameters::zorBase),
    Text<T>("zorcmdline", "\"command-line args for ZOR\"", "a string", &Parameters::zorCmdLine),
    Switch<T>("keymaster", &Parameters::keyMaster),
    Value<T>("proxy", "<dottedIP-String> <port>",
             "an address of four numbers from 0 to 255, for example 10.0.0.1", TakeProxy<T>),
    Value<T>("proxyauthentication", "<username> <password>", "a user name and a password",
             TakeProxyAuthentication<T>, 2),
    Switch<T>("useshell", nullptr),
    Switch<T>("noclearscreen", nullptr),
    Switch<T>("pause", nullptr),
    Value<T>("mastershellkey", "<key code>", "a key code", CheckMasterShellKey<T>),
    Switch<T>("dcts", &Parameters::dcts),
    Switch<T>("spdump", &Parameters::spdump),
    Text<T>("fontdirs", "comma separated Dir names", "folders with commas between",
            &Parameters::fontDirs),
    Switch<T>("instrument", &Parameters::instrument),
    Text<T>("extensionsdir", "<extension directory>", "a folder", &Parameters::extensionsDir),
    Value<T>("modulemap", "<moduleName:filename>", "NAME:FILE, for example IShell:my/Shell.so",
             CheckModuleMap<T>),
    Text<T>("mousestream", "<dottedIP-String>:<port>", "ADDRESS:PORT, for example 127.0.0.1:5900",
            &Parameters::mouseStream),
    Value<T>("mousefeedback", "<seconds between screenshots>", "a number of seconds",
             TakeMouseFeedback<T>),
    Text<T>("locale", "<locale for language and formatting>", "a locale, for example en_US.UTF-8",
            &Parameters::locale),
};

/// Why a line is refused.
enum class Refusal {
  kNone,
  kUnknownOption,
  kMissingValue,     ///< words that the option needs are not there
  kWrongValue,       ///< the option's values are not what is expected
  kSecondContent,    ///< the window has its content already
  kNeedsZorBase,     ///< an application descriptor without a ZOR base before it
  kNeedsDescriptor,  ///< with a ZOR base, anything else
};

/// What became of one window's words.
template <class Texts>
struct Reading {
  Refusal refusal;
  const Option<Texts>* option;  ///< that was refused; null for content and unknown options
};

inline bool IsOption(const char* word) { return word[0] == '-' && word[1] == '-'; }

/// The option that `name`, without its dashes, is the name of; null for none.
template <class Texts>
const Option<Texts>* FindOption(Texts& texts, const char* name) {
  for (const Option<Texts>& option : kOptions<Texts>) {
    // Most names differ in their first letter, which is seen without a call of the host.
    if (option.name[0] == name[0] && Same(texts, option.name, name)) return &option;
  }
  return nullptr;
}

/// Takes an option's values. Some fields may have changed also when it is refused: nothing is
/// rolled back.
template <class Texts>
Refusal TakeOption(Texts& texts, const Option<Texts>& option, Words& words,
                   Parameters& parameters) {
  parameters.traceFlags |= option.trace;
  if (words.Left() < option.valueCount) return Refusal::kMissingValue;
  const char* const value = option.valueCount > 0 ? words.Take() : nullptr;
  if (option.text != nullptr) parameters.*option.text = value;
  if (option.flag != nullptr) parameters.*option.flag = true;
  if (option.take != nullptr && !option.take(texts, value, words, parameters)) {
    return Refusal::kWrongValue;
  }
  return Refusal::kNone;
}

/// An application descriptor needs a ZOR base before it; a movie or a directory must have none.
template <class Texts>
Refusal TakeContent(Texts& texts, const char* path, Parameters& parameters) {
  if (parameters.contentPath != nullptr) return Refusal::kSecondContent;
  const char* const dot = texts.StrRChr(path, '.');
  const bool isDescriptor = dot != nullptr && dot != path && Same(texts, dot, ".xml");
  const bool hasZorBase = parameters.zorBase != nullptr;
  if (isDescriptor && !hasZorBase) return Refusal::kNeedsZorBase;
  if (!isDescriptor && hasZorBase) return Refusal::kNeedsDescriptor;
  parameters.contentPath = path;
  return Refusal::kNone;
}

/// Reads the words of one window from argv[index], up to its content or, unless
/// `stopAfterContent`, to the end; a line without content is not refused. `parameters` hold the
/// defaults before. `onOption` hears each option that was taken.
///
/// On return `index` is the first word not used up; after a refusal the one behind the word that
/// was refused, the option or the content, whatever was looked at since.
template <class Texts, class OnOption>
Reading<Texts> ReadWindow(Texts& texts, int argc, const char* const* argv, int& index,
                          Parameters& parameters, bool stopAfterContent, OnOption onOption) {
  while (index < argc) {
    const char* const word = argv[index++];
    if (!IsOption(word)) {
      const Refusal refusal = TakeContent(texts, word, parameters);
      if (refusal != Refusal::kNone) return {refusal, nullptr};
      if (stopAfterContent) break;
      continue;
    }
    const Option<Texts>* const option = FindOption(texts, word + 2);
    if (option == nullptr) return {Refusal::kUnknownOption, nullptr};
    Words words(argc, argv, index);
    const Refusal refusal = TakeOption(texts, *option, words, parameters);
    if (refusal != Refusal::kNone) return {refusal, option};
    index = words.Index();
    onOption(*option);
  }
  return {Refusal::kNone, nullptr};
}

}  // namespace grammar
}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_COMMANDLINEGRAMMAR_H_
