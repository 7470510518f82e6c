// The usage text. Its list of options is put together from the grammar when this is compiled, so an
// option cannot be listed that there is not.

#include "qx/plexion/CommandLineGrammar.h"
#include "qx/plexion/IPlexionImpl.h"

namespace qx {
namespace plexion {

namespace {

/// In the order of the list. The others are left out on purpose: three of them stand elsewhere in
/// the text, the rest is for device makers.
constexpr const char* kListed[] = {"zorbase",
                                   "zorcmdline",
                                   "profile",
                                   "extensionsdir",
                                   "contentdims",
                                   "outputdims",
                                   "outputrect",
                                   "bgalpha",
                                   "gl",
                                   "keymap",
                                   "sslclientcerttable",
                                   "sslcertsdir",
                                   "tracefps",
                                   "debugmode",
                                   "graphicsmemthreshold",
                                   "tstrace",
                                   "notstrace",
                                   "nospeedlimit",
                                   "fontdirs",
                                   "proxy",
                                   "proxyauthentication",
                                   "pause",
                                   "dcts",
                                   "spdump",
                                   "modulemap",
                                   "instrument",
                                   "mousestream",
                                   "mousefeedback",
                                   "locale"};

// Takes the default background alpha and the default graphics memory threshold.
constexpr char kDefaults[] =
    "         default values are:\n"
    "           --profile tv\n"
    "           --sslcertsdir /mtd_down/halvex/plexion/data/config/ssl/certs/\n"
    "           --contentdims <mvx authored stage dims>\n"
    "           --outputdims <mvx authored stage dims>\n"
    "           --bgalpha %d\n"
    "           --graphicsmemthreshold %dM\n"
    "           --extensionsdir /mtd_cmmlib/morvelzor30/EDK\n"
    "           --mousefeedback 2\n"
    "           --locale en_US.UTF-8\n"
    "           --notstrace\n";

/// Counts characters and, with room, writes them.
struct Writer {
  char* out;
  unsigned count;
  constexpr void Write(const char* text) {
    for (; *text != '\0'; ++text, ++count) {
      if (out != nullptr) out[count] = *text;
    }
  }
};

constexpr bool SameName(const char* left, const char* right) {
  while (*left != '\0' && *left == *right) {
    ++left;
    ++right;
  }
  return *left == *right;
}

constexpr const char* ValuesOf(const char* name) {
  for (const auto& option : grammar::kOptions<IQXKernel>) {
    if (SameName(option.name, name)) return option.values;
  }
  return nullptr;  // no option: the text cannot be put together, and this is not compiled
}

constexpr unsigned WriteList(char* out) {
  Writer writer{out, 0};
  writer.Write("         Valid options are:\n");
  for (const char* name : kListed) {
    const char* const values = ValuesOf(name);
    writer.Write("           --");
    writer.Write(name);
    if (*values != '\0') writer.Write(" ");
    writer.Write(values);
    writer.Write("\n");
  }
  writer.Write(kDefaults);
  return writer.count;
}

struct OptionList {
  char text[WriteList(nullptr) + 1];
};

constexpr OptionList MakeList() {
  OptionList list = {};
  WriteList(list.text);
  return list;
}

/// One text, for one call of Printf: a host sees the list as a whole.
constexpr OptionList kOptionList = MakeList();

}  // namespace

int IPlexionImpl::ShowUsage(const char* programName) { return ShowUsage(programName, 1); }

int IPlexionImpl::ShowUsage(const char* programName, unsigned long maxStageWindows) {
  DisplayBannerOneTimeOnly(static_cast<const QXString*>(nullptr));
  kernel->Printf(
      "usage: %s [--options] zor-install-dir-path\n"
      "       %s [--options] --zorbase zor-base-dir-path application.xml\n",
      programName, programName);
  if (maxStageWindows > 1) {
    kernel->Printf("         Up to %lu Morvel applications may be specified.\n", maxStageWindows);
  }
  kernel->Printf(kOptionList.text, 255, 30);
  kernel->Printf("Other options for the %s executable:\n", programName);
  kernel->Printf("           --useshell: enables the IShell\n");
  kernel->Printf("           --noclearscreen: prevents the screen from being initially cleared\n");
  return -1;
}

}  // namespace plexion
}  // namespace qx
