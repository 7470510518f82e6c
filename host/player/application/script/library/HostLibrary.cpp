// What is around an application: settings, arguments, traces, and its end.
#include <algorithm>

#include "host/base/CommandWords.h"
#include "host/base/Text.h"
#include "host/player/application/script/ScriptHost.h"
#include "host/player/application/script/library/Libraries.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kLongestTrace = 16384;
constexpr unsigned kMostTraces = 1000;
/// What scripts are told when nobody named a locale.
constexpr char kUsualLocale[] = "en_US.UTF-8";

int Trace(lua_State* state) {
  const ScriptContext& context = ScriptHost::Of(state).Context();
  const PlayerSettings& settings = context.host.Settings();
  // Silent without the option, and costs nothing then.
  if ((settings.traceFlags & qx::plexion::kTraceScript) == 0) return 0;
  std::string text;
  if (settings.debugMode) text = Script::Position(state, 1) + ": ";
  const int count = lua_gettop(state);
  for (int i = 1; i <= count; ++i) {
    size_t length = 0;
    const char* part = luaL_tolstring(state, i, &length);
    if (i > 1) text += '\t';
    // No more than is told is ever copied, whatever a script hands in.
    text.append(part, std::min(length, kLongestTrace));
    lua_pop(state, 1);
    if (text.size() > kLongestTrace) {
      text.resize(kLongestTrace);
      text += "...";
      break;
    }
  }
  // What is told waits until the script has done its work, and it may trace without end.
  const unsigned number = ScriptHost::Of(state).CountTrace();
  if (number > kMostTraces) return 0;
  if (number == kMostTraces) text = "more traces than can be told at one moment";
  if (IQXKernel* kernel = IQXKernel::GetKernel()) {
    kernel->Printf("TallyScript: %s\n", Printable(text).c_str());
  }
  context.host.Notify(qx::plexion::kInfoNotifyTSTrace, text);
  return 0;
}

int Complete(lua_State* state) {
  ScriptHost::Of(state).Context().host.Complete();
  return 0;
}

}  // namespace

void OpenHostLibrary(lua_State* state) {
  const PlayerSettings& settings = ScriptHost::Of(state).Context().host.Settings();
  lua_pushcfunction(state, Trace);
  lua_setglobal(state, "trace");
  lua_pushcfunction(state, Trace);
  lua_setglobal(state, "print");
  lua_pushcfunction(state, Complete);
  lua_setglobal(state, "complete");
  lua_pushstring(state, settings.locale.empty() ? kUsualLocale : settings.locale.c_str());
  lua_setglobal(state, "locale");

  lua_newtable(state);
  for (const auto& variable : settings.variables) {
    lua_pushlstring(state, variable.first.data(), variable.first.size());
    lua_pushlstring(state, variable.second.data(), variable.second.size());
    lua_rawset(state, -3);
  }
  lua_setglobal(state, "vars");

  // Parsed here and not in the document's loading: the message shall name the option.
  std::vector<std::string> words;
  std::string error;
  if (!SplitCommandWords(settings.zorCmdLine, words, error, false)) {
    luaL_error(state, "--zorcmdline: %s", error.c_str());
  }
  lua_newtable(state);
  for (size_t i = 0; i < words.size(); ++i) {
    lua_pushlstring(state, words[i].data(), words[i].size());
    lua_rawseti(state, -2, static_cast<lua_Integer>(i) + 1);
  }
  lua_setglobal(state, "args");
}

}  // namespace plexion_host::player::application
