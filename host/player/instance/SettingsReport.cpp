// Lists the settings of an instance.

#include "host/player/instance/SettingsReport.h"

#include <stdint.h>

#include <utility>

#include "qx/core/IQXKernel.h"

namespace plexion_host::player {

namespace {

struct TextSetting {
  const char* name;
  const std::string PlayerSettings::*value;
  bool secret = false;
};

constexpr TextSetting kTexts[] = {
    {"contentPath", &PlayerSettings::contentUrl},
    {"base", &PlayerSettings::base},
    {"zorBase", &PlayerSettings::zorBase},
    {"zorCmdLine", &PlayerSettings::zorCmdLine},
    {"keymap", &PlayerSettings::keymap},
    {"morvelVars", &PlayerSettings::morvelVars},
    {"qlrArgs", &PlayerSettings::qlrArgs},
    {"sslClientCertTable", &PlayerSettings::sslClientCertTable, true},
    {"sslCertsDir", &PlayerSettings::sslCertsDir},
    {"fontDirs", &PlayerSettings::fontDirs},
    {"extensionsDir", &PlayerSettings::extensionsDir},
    {"proxy", &PlayerSettings::proxy},
    {"proxyUser", &PlayerSettings::proxyUser},
    {"proxyPassword", &PlayerSettings::proxyPassword, true},
    {"locale", &PlayerSettings::locale},
};

void Print(const std::string& line) { IQXKernel::GetKernel()->Printf("%s\n", line.c_str()); }

void PrintAll(const std::string& name, const PlayerSettings& settings) {
  const auto line = [&name](const char* setting, const std::string& value) {
    Print("Parameter of " + name + ": " + setting + " = " + value);
  };
  for (const TextSetting& text : kTexts) {
    const std::string& value = settings.*text.value;
    line(text.name, value.empty() ? "(none)" : text.secret ? "(not shown)" : value);
  }
  const std::pair<const char*, int64_t> numbers[] = {
      {"proxyPort", settings.proxyPort},
      {"contentDims.width", settings.contentWidth},
      {"contentDims.height", settings.contentHeight},
      {"bgAlpha", settings.bgAlpha},
      {"profile", settings.profile},
      {"gl", settings.gl},
      {"traceFlags", settings.traceFlags},
      {"traceFps", settings.traceFpsMs},
      {"gcHeapLimit", settings.gcHeapLimitMegabytes},
      {"graphicsMemThreshold", settings.graphicsMemThresholdMegabytes},
      {"extraWord", settings.extraWord},
      {"extraFlag", settings.extraFlag},
      {"noSpeedLimit", settings.noSpeedLimit},
      {"debugMode", settings.debugMode},
      {"dcts", settings.dcts},
      {"spdump", settings.spdump},
      {"instrument", settings.instrument},
  };
  for (const auto& [setting, value] : numbers) line(setting, std::to_string(value));
}

}  // namespace

void ReportSettings(const std::string& name, const PlayerSettings& settings) {
  if (!settings.qlrArgs.empty()) {
    Print(name + ": --qlrargs has no effect: this platform has no debug launcher");
  }
  if (settings.spdump) PrintAll(name, settings);
}

}  // namespace plexion_host::player
