// The two meanings of "go".

#include "qx/plexion/parts/ShellCommands.h"
#include "tests/support/ServiceTest.h"

namespace qx {
namespace plexion {
namespace {

using plexion_sim::Fallible;

class ShellCommands : public ServiceTest {
 protected:
  ShellCommands() : event(IQXKernel::GetKernel()->CreateEvent(true)) { event->Reset(); }
  ~ShellCommands() override { IQXKernel::GetKernel()->DestroyEvent(event); }

  /// Executes the words; returns whether the wait was released, and resets it.
  bool Releases(platform::IShellCommand& command, std::vector<const char*> words) {
    std::vector<char*> argv;
    for (const char* word : words) argv.push_back(const_cast<char*>(word));
    EXPECT_TRUE(command.Execute(argv.size(), argv.data()) == QXError_OK);
    const bool released = event->Wait(0);
    event->Reset();
    return released;
  }

  IQXKernel::Event* event;
};

TEST_F(ShellCommands, AnyGoReleasesASet) {
  GoShellCommand command(event);
  EXPECT_TRUE(Releases(command, {"go"}));
  EXPECT_TRUE(Releases(command, {"go", "anywhere", "at", "all"}));
  EXPECT_EQ(device->kernel.PrintedText(), "");
}

TEST_F(ShellCommands, GoNamesTheContentOfAWindow) {
  const struct {
    std::vector<const char*> words;
    const char* url;
    const char* baseUrl;
    bool releases;
  } kLines[] = {
      {{"go", "--rundefault"}, "", "", true},
      {{"go", "http://host/a.mvx"}, "http://host/a.mvx", "", true},
      {{"go", "--rundefaults"}, "--rundefaults", "", true},
      {{"go", "application.xml", "/zor"}, "application.xml", "/zor", true},
      {{"go", "--rundefault", "/zor"}, "--rundefault", "/zor", true},
      {{"go", nullptr}, "", "", true},
      {{"go", nullptr, "/zor"}, "", "/zor", true},
      {{"go", "gr\xC3\xBC\xC3\x9F.mvx", nullptr}, "gr\xC3\xBC\xC3\x9F.mvx", "", true},
      {{"go"}, "", "", false},
      {{"go", "a", "b", "c"}, "", "", false},
      {{}, "", "", false},
  };
  long usages = 0;
  for (const auto& line : kLines) {
    GoToURLShellCommand command(event);
    EXPECT_EQ(Releases(command, line.words), line.releases) << line.words.size();
    EXPECT_STREQ(command.url.Utf8(), line.url);
    EXPECT_STREQ(command.baseUrl.Utf8(), line.baseUrl);
    usages += !line.releases;
    EXPECT_EQ(Printed("Usage: go --rundefault | CONTENT_URL [ ZOR_BASE_URL ]"), usages);
  }
}

TEST_F(ShellCommands, ASecondGoRewritesTheFirst) {
  GoToURLShellCommand command(event);
  EXPECT_TRUE(Releases(command, {"go", "a.mvx", "/zor"}));
  EXPECT_TRUE(Releases(command, {"go", "b.mvx"}));
  EXPECT_STREQ(command.url.Utf8(), "b.mvx");
  EXPECT_TRUE(Releases(command, {"go", nullptr, nullptr}));
  EXPECT_TRUE(command.url.IsEmpty() && command.baseUrl.IsEmpty());
}

TEST_F(ShellCommands, AnAddressThatCannotBeKeptMeansTheConfiguredContent) {
  GoToURLShellCommand command(event);
  device->kernel.GetFaults().FailAll(Fallible::kAllocate);
  EXPECT_TRUE(Releases(command, {"go", "a.mvx"}));
  device->kernel.GetFaults().Clear();
  EXPECT_TRUE(command.url.IsEmpty());
}

}  // namespace
}  // namespace plexion
}  // namespace qx
