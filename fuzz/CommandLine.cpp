// A command line, words separated by line ends, through the parser and the readers.

#include <cstring>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "qx/plexion/IPlexionImpl.h"
#include "sim/device/SimDevice.h"

extern "C" {
IQXModule* IQXModule_IPlexion_ModuleLoad();
}

namespace {

using namespace qx::plexion;  // NOLINT(google-build-using-namespace): a program of one file

/// Digits after an optional sign, from `at`; moves behind them.
bool Number(const std::string& text, size_t& at) {
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  const size_t first = at;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9') ++at;
  return at > first;
}

bool LooksLikeNumbers(const std::string& text, int count) {
  size_t at = 0;
  for (int i = 0; i < count; ++i) {
    if (i > 0 && (at >= text.size() || text[at++] != ',')) return false;
    if (!Number(text, at)) return false;
  }
  return at == text.size();
}

void CheckReaders(IPlexionImpl& service, const std::string& word) {
  Dims dims{0, 0};
  const bool dimsRead = service.ReadDimsArg(word.c_str(), dims);
  Require(!dimsRead || (LooksLikeNumbers(word, 2) && dims.width > 0 && dims.height > 0), "dims");
  Require(dimsRead || (dims.width == 0 && dims.height == 0), "dims kept on failure");
  Rect rect{0, 0, 0, 0};
  const bool rectRead = service.ReadRectArg(word.c_str(), rect);
  Require(!rectRead || (LooksLikeNumbers(word, 4) && rect.width > 0 && rect.height > 0), "rect");
  Require(rectRead || (rect.width == 0 && rect.height == 0), "rect size kept on failure");
  unsigned long milliseconds = 0;
  if (service.ReadDurationArg(word.c_str(), milliseconds)) {
    Require((word.back() | 0x20) == 's', "duration has its unit");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  plexion_sim::SimOptions options;
  options.journal = false;
  static auto* const device = new plexion_sim::SimDevice(options);
  (void)device;
  static auto* const service = static_cast<IPlexionImpl*>(IQXModule_IPlexion_ModuleLoad());

  std::vector<std::string> words = {"plexion"};
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    words.push_back(text.substr(at, end == std::string::npos ? end : end - at));
    at = end == std::string::npos ? text.size() : end + 1;
  }
  std::vector<const char*> argv;
  for (const std::string& word : words) argv.push_back(word.c_str());
  const int argc = static_cast<int>(argv.size());

  StageWindowParameters parameters;
  std::memset(&parameters, 0, sizeof parameters);
  int index = 1;
  bool whole = argc >= 2;
  while (index < argc) {
    const int before = index;
    const bool read = service->ParseCommandLineParametersForOneStageWindow(argc, argv.data(), index,
                                                                           parameters, true) != 0;
    Require(index > before && index <= argc, "the index moves on and stays inside");
    Require(!read || parameters.contentPath != nullptr || index == argc, "content or the end");
    Require(parameters.graphicsMemThreshold < 4096 && parameters.gcHeapLimit < 4096, "megabytes");
    whole = whole && read;
  }
  StageWindowParameters single;
  std::memset(&single, 0, sizeof single);
  if (service->ParseCommandLineParameters(argc, argv.data(), single)) {
    Require(whole, "a line that is one window's is one that windows can be read from");
  }
  for (size_t i = 1; i < words.size(); ++i) CheckReaders(*service, argv[i]);
  return 0;
}
