// The one list of what a window's parameters tell the player.

#ifndef HOST_PLAYER_SETTINGSFIELDS_H_
#define HOST_PLAYER_SETTINGSFIELDS_H_

#include "host/player/PlayerSettings.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host::player {

/// Calls `visit(name, ofWindow, ofInstance, ofPlayer, secret...)` for each setting, texts first: its name as it is
/// told; where a window's parameters have it, for std::invoke; the members of the instance's parameters and
/// of the player's own settings; and `true` behind those that nobody may read in a report.
///
/// A setting that is missing here is not filled in, not copied, not told and does not reach a content's process:
/// each of these walks over this list and has none of its own.
template <typename Visit>
void EachSetting(const Visit& visit) {
  using Window = qx::plexion::StageWindowParameters;
  using Instance = qx::core::morvellib::MorvelInstanceParameters;
  using Own = PlayerSettings;
  visit("contentPath", &Window::contentPath, &Instance::contentUrl, &Own::contentUrl);
  visit("base", &Window::base, &Instance::base, &Own::base);
  visit("zorBase", &Window::zorBase, &Instance::zorBase, &Own::zorBase);
  visit("zorCmdLine", &Window::zorCmdLine, &Instance::zorCmdLine, &Own::zorCmdLine);
  visit("keymap", &Window::keymap, &Instance::keymap, &Own::keymap);
  visit("morvelVars", &Window::morvelVars, &Instance::morvelVars, &Own::morvelVars);
  visit("qlrArgs", &Window::qlrArgs, &Instance::qlrArgs, &Own::qlrArgs);
  visit("sslClientCertTable", &Window::sslClientCertTable, &Instance::sslClientCertTable,
        &Own::sslClientCertTable, true);
  visit("sslCertsDir", &Window::sslCertsDir, &Instance::sslCertsDir, &Own::sslCertsDir);
  visit("fontDirs", &Window::fontDirs, &Instance::fontDirs, &Own::fontDirs);
  visit("extensionsDir", &Window::extensionsDir, &Instance::extensionsDir, &Own::extensionsDir);
  visit("proxy", &Window::proxy, &Instance::proxy, &Own::proxy);
  visit("proxyUser", &Window::proxyUser, &Instance::proxyUser, &Own::proxyUser);
  visit("proxyPassword", &Window::proxyPassword, &Instance::proxyPassword, &Own::proxyPassword,
        true);
  visit("locale", &Window::locale, &Instance::locale, &Own::locale);
  visit("proxyPort", &Window::proxyPort, &Instance::proxyPort, &Own::proxyPort);
  visit(
      "contentDims.width", [](const Window& window) { return window.contentDims.width; },
      &Instance::contentWidth, &Own::contentWidth);
  visit(
      "contentDims.height", [](const Window& window) { return window.contentDims.height; },
      &Instance::contentHeight, &Own::contentHeight);
  visit("bgAlpha", &Window::bgAlpha, &Instance::bgAlpha, &Own::bgAlpha);
  visit("profile", &Window::profile, &Instance::profile, &Own::profile);
  visit("gl", &Window::gl, &Instance::gl, &Own::gl);
  visit("traceFlags", &Window::traceFlags, &Instance::traceFlags, &Own::traceFlags);
  visit("traceFps", &Window::traceFps, &Instance::traceFpsMs, &Own::traceFpsMs);
  visit("gcHeapLimit", &Window::gcHeapLimit, &Instance::gcHeapLimitMegabytes,
        &Own::gcHeapLimitMegabytes);
  visit("graphicsMemThreshold", &Window::graphicsMemThreshold,
        &Instance::graphicsMemThresholdMegabytes, &Own::graphicsMemThresholdMegabytes);
  visit("extraWord", &Window::extraWord, &Instance::extraWord, &Own::extraWord);
  visit("extraFlag", &Window::extraFlag, &Instance::extraFlag, &Own::extraFlag);
  visit("noSpeedLimit", &Window::noSpeedLimit, &Instance::noSpeedLimit, &Own::noSpeedLimit);
  visit("debugMode", &Window::debugMode, &Instance::debugMode, &Own::debugMode);
  visit("dcts", &Window::dcts, &Instance::dcts, &Own::dcts);
  visit("spdump", &Window::spdump, &Instance::spdump, &Own::spdump);
  visit("instrument", &Window::instrument, &Instance::instrument, &Own::instrument);
}

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_SETTINGSFIELDS_H_
