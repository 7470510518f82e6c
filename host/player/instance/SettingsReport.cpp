// Lists the settings of an instance.

#include "host/player/instance/SettingsReport.h"

#include <stdint.h>

#include <string>
#include <type_traits>

#include "host/player/SettingsFields.h"
#include "qx/core/IQXKernel.h"

namespace plexion_host::player {

namespace {

void Print(const std::string& line) { IQXKernel::GetKernel()->Printf("%s\n", line.c_str()); }

void PrintAll(const std::string& name, const PlayerSettings& settings) {
  const auto line = [&name](const char* setting, const std::string& value) {
    Print("Parameter of " + name + ": " + setting + " = " + value);
  };
  EachSetting([&](const char* setting, const auto&, const auto&, auto ofPlayer, auto... secret) {
    const auto& value = settings.*ofPlayer;
    if constexpr (std::is_same_v<decltype(ofPlayer), std::string PlayerSettings::*>) {
      line(setting, value.empty() ? "(none)" : sizeof...(secret) > 0 ? "(not shown)" : value);
    } else {
      line(setting, std::to_string(int64_t{value}));
    }
  });
}

}  // namespace

void ReportSettings(const std::string& name, const PlayerSettings& settings) {
  if (!settings.qlrArgs.empty()) {
    Print(name + ": --qlrargs has no effect: this platform has no debug launcher");
  }
  if (settings.spdump) PrintAll(name, settings);
}

}  // namespace plexion_host::player
