// From a command line to the parameters of one window, by the common grammar. Nothing is printed
// here; callers show the usage text when they get false.

#include "qx/core/Check.h"
#include "qx/plexion/CommandLineGrammar.h"
#include "qx/plexion/IPlexionImpl.h"

namespace qx {
namespace plexion {

bool IPlexionImpl::ReadDimsArg(const char* text, Dims& dims) {
  QX_CHECK(text != nullptr, "a text");
  return grammar::ReadDims(*kernel, text, dims);
}

bool IPlexionImpl::ReadRectArg(const char* text, Rect& rect) {
  QX_CHECK(text != nullptr, "a text");
  return grammar::ReadRect(*kernel, text, rect);
}

bool IPlexionImpl::ReadDurationArg(const char* text, unsigned long& milliseconds) {
  QX_CHECK(text != nullptr, "a text");
  return grammar::ReadDuration(*kernel, text, milliseconds);
}

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
  QX_CHECK(argv != nullptr && index >= 0, "words, and a place among them");
  const auto reading = grammar::ReadWindow(*kernel, argc, argv, index, parameters, stopAfterContent,
                                           [](const grammar::Option<IQXKernel>&) {});
  return reading.refusal == grammar::Refusal::kNone ? 1 : 0;
}

}  // namespace plexion
}  // namespace qx
