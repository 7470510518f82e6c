// The defaults of a window's parameters, and the readers of compound arguments.

#include "qx/plexion/IPlexionImpl.h"

namespace qx {
namespace plexion {

namespace {

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

/// A signed number as a 32-bit field keeps it: negative ones as their two's-complement pattern.
/// What does not fit becomes the nearest that does, so that no size turns into another by wrapping.
uint32_t ToField(long value) {
  constexpr long kLargest = 0xFFFFFFFFL;
  constexpr long kSmallest = -0x80000000L;
  if (value > kLargest) return 0xFFFFFFFFu;
  if (value < kSmallest) return 0x80000000u;
  return static_cast<uint32_t>(value);
}

/// Reads a base-10 number, an optional sign and then a digit, and moves `text` behind it.
bool ReadSigned(IQXKernel* kernel, const char*& text, long& value) {
  const char* const digits = text + (*text == '+' || *text == '-' ? 1 : 0);
  if (!IsDigit(*digits)) return false;
  char* end = nullptr;
  value = kernel->StrToL(text, &end, 10);
  text = end;
  return true;
}

bool ReadComma(const char*& text) {
  if (*text != ',') return false;
  ++text;
  return true;
}

/// "w,h", both above zero, and then the end of the text.
bool ReadSize(IQXKernel* kernel, const char* text, Dims& dims) {
  long width = 0;
  long height = 0;
  if (!ReadSigned(kernel, text, width) || !ReadComma(text)) return false;
  if (!ReadSigned(kernel, text, height) || *text != '\0') return false;
  if (width <= 0 || height <= 0) return false;
  dims.width = ToField(width);
  dims.height = ToField(height);
  return true;
}

char ToUpper(char character) {
  return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A')
                                              : character;
}

}  // namespace

int IPlexionImpl::InitParameters(StageWindowParameters& parameters) {
  parameters.contentPath = nullptr;
  parameters.keymap = nullptr;
  parameters.renderPlane = nullptr;
  parameters.outputPlane = nullptr;
  parameters.contentDims = {0, 0};
  parameters.outputDims = {0, 0};
  parameters.outputRect = {0, 0, 0, 0};
  parameters.pixelFormat = 0;
  parameters.extraWord = 0;
  parameters.createOutputPlane = true;
  parameters.scaleToFit = true;
  parameters.outputPlaneName = nullptr;
  parameters.notifier = nullptr;
  parameters.bgAlpha = 255;
  parameters.profile = kProfileTv;
  parameters.morvelVars = nullptr;
  parameters.qlrArgs = nullptr;
  parameters.sslClientCertTable = nullptr;
  parameters.sslCertsDir = nullptr;
  parameters.morvelModuleName = "IMorvelRuntimeLib";
  parameters.hasRectProvider = false;
  parameters.noSpeedLimit = false;
  parameters.traceFlags = 0;
  parameters.traceFps = 5000;
  parameters.memoryLimit = 0;
  parameters.gcHeapLimit = 64;
  parameters.extraFlag = true;
  parameters.base = nullptr;
  parameters.zorBase = nullptr;
  parameters.zorCmdLine = nullptr;
  parameters.rectProvider = nullptr;
  parameters.keyMaster = false;
  parameters.debugMode = false;
  parameters.graphicsMemThreshold = 30;
  parameters.proxy = nullptr;
  parameters.proxyPort = 80;
  parameters.proxyUser = nullptr;
  parameters.proxyPassword = nullptr;
  parameters.fontDirs = nullptr;
  parameters.extensionsDir = "/mtd_cmmlib/morvelzor30/EDK";
  parameters.gl = kGlDefault;
  parameters.dcts = false;
  parameters.spdump = false;
  parameters.instrument = false;
  parameters.mouseStream = nullptr;
  parameters.mouseFeedback = 2;
  // Not the locale (kept): it holds for the windows that follow on the same command line.
  return 0;
}

bool IPlexionImpl::ReadDimsArg(const char* text, Dims& dims) {
  return ReadSize(kernel, text, dims);
}

bool IPlexionImpl::ReadRectArg(const char* text, Rect& rect) {
  long value = 0;
  // Each coordinate is stored as it is read (kept: callers see them when the rest is wrong).
  if (!ReadSigned(kernel, text, value)) return false;
  rect.x = ToField(value);
  if (!ReadComma(text) || !ReadSigned(kernel, text, value)) return false;
  rect.y = ToField(value);
  Dims size = {0, 0};
  if (!ReadComma(text) || !ReadSize(kernel, text, size)) return false;
  rect.width = size.width;
  rect.height = size.height;
  return true;
}

bool IPlexionImpl::ReadDurationArg(const char* text, unsigned long& milliseconds) {
  constexpr unsigned long kMsPerSecond = 1000;
  // No minus sign: the kernel would read what follows it as a huge number.
  if (!IsDigit(text[0] == '+' ? text[1] : text[0])) return false;
  char* end = nullptr;
  const unsigned long number = kernel->StrToUL(text, &end, 10);

  // The unit is not optional: a bare number could be either.
  if (ToUpper(end[0]) == 'S' && end[1] == '\0') {
    milliseconds = number > ~0UL / kMsPerSecond ? ~0UL : number * kMsPerSecond;
    return true;
  }
  if (ToUpper(end[0]) == 'M' && ToUpper(end[1]) == 'S' && end[2] == '\0') {
    milliseconds = number;
    return true;
  }
  return false;
}

}  // namespace plexion
}  // namespace qx
