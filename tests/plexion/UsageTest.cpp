// The usage text, and whether it tells the truth about the parser.

#include <set>
#include <sstream>

#include "tests/plexion/ServiceFixture.h"

namespace qx {
namespace plexion {
namespace {

class Usage : public ServiceTest {
 protected:
  const char* const kFirstOption = "         Valid options are:";

  bool Parses(std::vector<const char*> argv) {
    argv.insert(argv.begin(), "plexion");
    StageWindowParameters parameters = {};
    return service->ParseCommandLineParameters(static_cast<int>(argv.size()), argv.data(),
                                               parameters);
  }
};

TEST_F(Usage, NamesTheProgramAndTheNumberOfWindows) {
  EXPECT_EQ(service->ShowUsage("plx"), -1);
  auto lines = device->kernel.PrintedLines();
  ASSERT_EQ(lines.size(), 3u + 2 + 41 + 3);
  EXPECT_EQ(lines[0], "Plexion");
  EXPECT_EQ(lines[3], "usage: plx [--options] zor-install-dir-path");
  EXPECT_EQ(lines[4], "       plx [--options] --zorbase zor-base-dir-path application.xml");
  EXPECT_EQ(lines[5], kFirstOption);
  EXPECT_EQ(lines[46], "Other options for the plx executable:");
  EXPECT_EQ(lines[47], "           --useshell: enables the IShell");
  EXPECT_EQ(lines[48],
            "           --noclearscreen: prevents the screen from being initially cleared");

  // The second time without the banner, and with a line for several windows.
  EXPECT_EQ(service->ShowUsage("plx", 4), -1);
  lines = device->kernel.PrintedLines();
  ASSERT_EQ(lines.size(), 49u + 47);
  EXPECT_EQ(lines[49 + 2], "         Up to 4 Morvel applications may be specified.");
  EXPECT_EQ(lines[49 + 3], kFirstOption);
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
  EXPECT_EQ(Printed("           --bgalpha 255"), 1);
  EXPECT_EQ(Printed("           --graphicsmemthreshold 30M"), 1);
  for (const char* hidden : {"--gcheaplimit", "--base", "--morvelvars", "--qlrargs", "--keymaster",
                             "--mastershellkey", "--useshell", "--noclearscreen"}) {
    EXPECT_EQ(listed.count(hidden), 0u) << hidden;
  }
}

}  // namespace
}  // namespace plexion
}  // namespace qx
