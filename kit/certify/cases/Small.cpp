// Promises of the small modules: system driver, locale, input.

#include <cstring>

#include "kit/certify/Groups.h"
#include "kit/certify/bench/ModuleUnderTest.h"
#include "kit/certify/bench/Service.h"
#include "qx/core/QXString.h"
#include "qx/platform/ILocaleUtils.h"
#include "qx/platform/ISystemDriver.h"

namespace plexion_certify {
namespace {

using qx::platform::ILocaleUtils;
using qx::platform::ISystemDriver;

void UserName(Case& c) {
  auto& system = ModuleUnderTest<ISystemDriver>(c, "ISystemDriver");
  QXString name("before");
  c.Step("GetCurrentUserName");
  system.GetCurrentUserName(name);
  const std::string first = name.Utf8();
  CERTIFY_REQUIRE(c, first.find("before") == std::string::npos, "the text replaced",
                  "\"" + first + "\"");
  CERTIFY_REQUIRE(c, first.find('/') == std::string::npos && first != "." && first != "..",
                  "a name fit for one component of a path", "\"" + first + "\"");
  system.GetCurrentUserName(name);
  CERTIFY_REQUIRE(c, first == name.Utf8(), "the same name again: \"" + first + "\"",
                  std::string("\"") + name.Utf8() + "\"");
}

void Locale(Case& c) {
  auto& locale = ModuleUnderTest<ILocaleUtils>(c, "ILocaleUtils");
  for (const char* name : {"C", "en_US.UTF-8", "xx_YY.nonsense"}) {
    c.Step(std::string("SetLocale to \"") + name + "\"");
    const char* const now = locale.SetLocale(ILocaleUtils::kLocaleMessages, name);
    CERTIFY_REQUIRE(c, now != nullptr, "the name of the locale in force, never null", "null");
    CERTIFY_REQUIRE(c, now[0] != '\0', "a name", "an empty text");
  }
}

void LocaleInForce(Case& c) {
  auto& locale = ModuleUnderTest<ILocaleUtils>(c, "ILocaleUtils");
  const std::string before = locale.SetLocale(ILocaleUtils::kLocaleMessages, "C");
  c.Step("SetLocale to one that there is not");
  const char* const after = locale.SetLocale(ILocaleUtils::kLocaleMessages, "xx_YY.nonsense");
  CERTIFY_REQUIRE(c, after != nullptr && strcmp(after, "xx_YY.nonsense") != 0,
                  "the locale that is in force, as before: " + before,
                  after == nullptr ? "null" : after);
}

void InputHeld(Case& c) {
  LedgerKernel& kernel = c.GetBench().Ledger();
  auto& first = ModuleUnderTest<IQXModule>(c, "IUserInputDriver");
  const int threads = ThreadCount(), files = DescriptorCount();
  c.Step("200 windows hold IUserInputDriver, and let go of it");
  for (int i = 0; i < 200; ++i) {
    IQXModule* const again = kernel.AcquireModule("IUserInputDriver");
    CERTIFY_REQUIRE(c, again == &first, "the one driver for all of them",
                    again == nullptr ? "null" : "another");
  }
  for (int i = 0; i < 200; ++i) kernel.ReleaseModule(&first);
  CERTIFY_REQUIRE(c, ThreadCount() <= threads && DescriptorCount() <= files,
                  Text("%d threads and %d open files, as with one of them", threads, files),
                  Text("%d and %d", ThreadCount(), DescriptorCount()));
}

void InputPlays(Case& c) {
  Service service(c);
  auto* const window = service.Open();
  window->SetActiveStageWindow();  // keys are its
  c.Step("LoadForLFD and CreatePlanes");
  CERTIFY_REQUIRE(c, window->LoadForLFD() && window->CreatePlanes(), "true from both", "false");
  c.Step("PlayForLFD of a window that holds the input driver");
  CERTIFY_REQUIRE(c, window->PlayForLFD(), "true: it was shown", "false");
  CERTIFY_REQUIRE(c, service.player.keyDowns == 0, "no key that nobody has pressed",
                  Text("%ld keys", service.player.keyDowns.load()));
}

constexpr Promise kPromises[] = {
    {"system.user-name",
     "The user's name replaces the text and is fit for one component of a path.", Level::kContract,
     "", UserName},
    {"locale.never-null", "SetLocale answers with a name, whatever it is asked.", Level::kContract,
     "", Locale},
    {"locale.in-force", "The name is the one of the locale in force.", Level::kContract,
     "locale.never-null", LocaleInForce},
    {"input.held", "One input driver serves all who hold it.", Level::kContract, "", InputHeld},
    {"input.module.plays", "A window plays while it holds the input driver, and gets no stray key.",
     Level::kContract, "input.held", InputPlays},
};

}  // namespace

PromiseGroup SmallPromises() {
  return MakeGroup("System, locale, input",
                   "qx/platform/ISystemDriver.h, ILocaleUtils.h, IUserInputDriver.h",
                   "The user's name becomes a folder's. Keys cannot be pressed from here: of the "
                   "input driver the module\n"
                   "asks only that it can be held while content plays.",
                   kPromises);
}

}  // namespace plexion_certify
