#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "host/kernel/HostKernel.h"
#include "host/system/LocaleUtils.h"
#include "host/system/SystemDriver.h"
#include "qx/core/QXString.h"

namespace plexion_host {
namespace {

TEST(SystemDriverTest, NamesTheUserWhoseRightsTheProcessHas) {
  static HostKernel kernel({"test"}, {});
  IQXModule_QXModule_PutKernel(&kernel);
  QXString name;
  name.Assign("left over");
  SystemDriver driver;
  driver.GetCurrentUserName(name);
  const passwd* const entry = getpwuid(geteuid());
  EXPECT_STREQ(entry != nullptr ? AsPathComponent(entry->pw_name).c_str() : "", name.Utf8());
}

TEST(SystemDriverTest, MakesNamesFitForOnePathComponent) {
  const std::pair<std::string, std::string> cases[] = {
      {"anna", "anna"},
      {"a.b-c_d", "a.b-c_d"},
      {"../etc", ".._etc"},
      {"..", "__"},
      {".", "_"},
      {"DOM\\user", "DOM\\user"},
      {"a\nb/c", "a_b_c"},
      {"", ""},
      {"j\xC3\xBCrgen", "j\xC3\xBCrgen"},
  };
  for (const auto& [name, component] : cases) EXPECT_EQ(component, AsPathComponent(name));
}

TEST(LocaleUtilsTest, AnswersTheLocaleInForce) {
  LocaleUtils locales;
  EXPECT_STREQ("C", locales.SetLocale(LocaleUtils::kLocaleMessages, "C"));
  EXPECT_STREQ("C.UTF-8", locales.SetLocale(LocaleUtils::kLocaleMessages, "C.UTF-8"));
  EXPECT_STREQ("C.UTF-8", locales.SetLocale(LocaleUtils::kLocaleMessages, "xx_NOWHERE.UTF-8"))
      << "a locale that is not installed changes nothing";
  EXPECT_STREQ("C.UTF-8", locales.SetLocale(LocaleUtils::kLocaleMessages, nullptr));
  EXPECT_STREQ("C.UTF-8", locales.SetLocale(1, "C")) << "numbers keep their form";
}

}  // namespace
}  // namespace plexion_host
