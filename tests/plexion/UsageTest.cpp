// The usage text, and whether it tells the truth about the parser.

#include <set>
#include <sstream>

#include "tests/support/ServiceTest.h"

namespace qx {
namespace plexion {
namespace {

// The whole text, as hosts and their manuals know it.
constexpr char kUsage[] = R"(usage: plx [--options] zor-install-dir-path
       plx [--options] --zorbase zor-base-dir-path application.xml
)";
constexpr char kList[] = R"(         Valid options are:
           --zorbase <zor-base-dir-path>
           --zorcmdline "command-line args for ZOR"
           --profile [tv|extendedTV]
           --extensionsdir <extension directory>
           --contentdims w,h
           --outputdims w,h
           --outputrect x,y,w,h
           --bgalpha <0-255>
           --gl [on|off] (overrides default OpenGL mode)
           --keymap filename
           --sslclientcerttable <sslclientcerttable-string>
           --sslcertsdir <ssl certificates directory>
           --tracefps <samplePeriod[MS|S]> (e.g. 5000MS or 5S)
           --debugmode
           --graphicsmemthreshold <num[M]>
           --tstrace
           --notstrace
           --nospeedlimit
           --fontdirs comma separated Dir names
           --proxy <dottedIP-String> <port>
           --proxyauthentication <username> <password>
           --pause
           --dcts
           --spdump
           --modulemap <moduleName:filename>
           --instrument
           --mousestream <dottedIP-String>:<port>
           --mousefeedback <seconds between screenshots>
           --locale <locale for language and formatting>
         default values are:
           --profile tv
           --sslcertsdir /mtd_down/halvex/plexion/data/config/ssl/certs/
           --contentdims <mvx authored stage dims>
           --outputdims <mvx authored stage dims>
           --bgalpha 255
           --graphicsmemthreshold 30M
           --extensionsdir /mtd_cmmlib/morvelzor30/EDK
           --mousefeedback 2
           --locale en_US.UTF-8
           --notstrace
)";
constexpr char kOther[] = R"(Other options for the plx executable:
           --useshell: enables the IShell
           --noclearscreen: prevents the screen from being initially cleared
)";

class Usage : public ServiceTest {
 protected:
  bool Parses(std::vector<const char*> argv) {
    argv.insert(argv.begin(), "plexion");
    StageWindowParameters parameters = {};
    return service->ParseCommandLineParameters(static_cast<int>(argv.size()), argv.data(),
                                               parameters);
  }
};

TEST_F(Usage, NamesTheProgramAndTheNumberOfWindows) {
  EXPECT_EQ(service->ShowUsage("plx"), -1);
  std::string text = device->kernel.PrintedText();
  text.erase(0, text.find("usage:"));
  EXPECT_EQ(text, std::string(kUsage) + kList + kOther);
  // The second time without the banner, and with a line for several windows.
  const size_t before = device->kernel.PrintedText().size();
  EXPECT_EQ(service->ShowUsage("plx", 4), -1);
  EXPECT_EQ(device->kernel.PrintedText().substr(before),
            std::string(kUsage) + "         Up to 4 Morvel applications may be specified.\n" +
                kList + kOther);
}

TEST_F(Usage, ListsOptionsThatParseAndDefaultsThatHold) {
  service->ShowUsage("plx");
  // A value that will do for every listed option that takes one.
  const auto valueOf = [](const std::string& option) -> std::vector<const char*> {
    if (option == "--contentdims" || option == "--outputdims") return {"640,480"};
    if (option == "--outputrect") return {"0,0,640,480"};
    if (option == "--bgalpha" || option == "--mousefeedback") return {"7"};
    if (option == "--profile") return {"extendedTV"};
    if (option == "--gl") return {"off"};
    if (option == "--tracefps") return {"5S"};
    if (option == "--graphicsmemthreshold") return {"30M"};
    if (option == "--proxy") return {"10.0.0.1", "8080"};
    if (option == "--proxyauthentication") return {"user", "password"};
    if (option == "--modulemap") return {"IShell:shell.so"};
    return {"text"};
  };
  std::set<std::string> listed;
  bool defaults = false;
  for (const std::string& line : device->kernel.PrintedLines()) {
    defaults = defaults || line == "         default values are:";
    std::istringstream words(line);
    std::string option;
    std::string value;
    words >> option >> value;
    if (option.compare(0, 2, "--") != 0 || option.back() == ':') continue;
    std::vector<const char*> argv = {option.c_str()};
    if (defaults) {
      if (value[0] == '<') continue;  // what the content says
      if (!value.empty()) argv.push_back(value.c_str());
    } else {
      EXPECT_TRUE(listed.insert(option).second) << option;
      if (!value.empty()) argv = valueOf(option);
      if (!value.empty()) argv.insert(argv.begin(), option.c_str());
    }
    EXPECT_TRUE(Parses(argv)) << line;
  }
  EXPECT_EQ(listed.size(), 29u);
}

}  // namespace
}  // namespace plexion
}  // namespace qx
