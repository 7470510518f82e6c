#include "qx/plexion/IPlexionImpl.h"

namespace qx {
namespace plexion {

namespace {

// Takes the default background alpha and the default graphics memory threshold.
const char kOptionList[] =
    "         Valid options are:\n"
    "           --zorbase <zor-base-dir-path>\n"
    "           --zorcmdline \"command-line args for ZOR\"\n"
    "           --profile [tv|extendedTV]\n"
    "           --extensionsdir <extension directory>\n"
    "           --contentdims w,h\n"
    "           --outputdims w,h\n"
    "           --outputrect x,y,w,h\n"
    "           --bgalpha <0-255>\n"
    "           --gl [on|off] (overrides default OpenGL mode)\n"
    "           --keymap filename\n"
    "           --sslclientcerttable <sslclientcerttable-string>\n"
    "           --sslcertsdir <ssl certificates directory>\n"
    "           --tracefps <samplePeriod[MS|S]> (e.g. 5000MS or 5S)\n"
    "           --debugmode\n"
    "           --graphicsmemthreshold <num[M]>\n"
    "           --tstrace\n"
    "           --notstrace\n"
    "           --nospeedlimit\n"
    "           --fontdirs comma separated Dir names\n"
    "           --proxy <dottedIP-String> <port>\n"
    "           --proxyauthentication <username> <password>\n"
    "           --pause\n"
    "           --dcts\n"
    "           --spdump\n"
    "           --modulemap <moduleName:filename>\n"
    "           --instrument\n"
    "           --mousestream <dottedIP-String>:<port>\n"
    "           --mousefeedback <seconds between screenshots>\n"
    "           --locale <locale for language and formatting>\n"
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
  kernel->Printf(kOptionList, 255, 30);
  kernel->Printf("Other options for the %s executable:\n", programName);
  kernel->Printf("           --useshell: enables the IShell\n");
  kernel->Printf("           --noclearscreen: prevents the screen from being initially cleared\n");
  return -1;
}

}  // namespace plexion
}  // namespace qx
