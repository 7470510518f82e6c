// Time, timers, handlers and what is around an application: variables, arguments, traces.
#include <locale.h>
#include <time.h>

#include <algorithm>
#include <string_view>

#include "host/base/Text.h"
#include "host/player/application/script/Behaviour.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host::player::application {

namespace {

constexpr double kShortestPeriod = 0.001;
constexpr double kLongestWait = 1e7;
constexpr size_t kLongestTrace = 16384;
constexpr unsigned kMostTraces = 1000;

constexpr std::string_view kEvents[] = {"start",   "frame",  "keydown",  "keyup",
                                        "pointer", "scroll", "activate", "deactivate",
                                        "event",   "ready",  "ended",    "failed"};
constexpr char kEventNames[] =
    "start, frame, keydown, keyup, pointer, scroll, activate, deactivate, event, ready, ended or "
    "failed";

int On(lua_State* state) {
  const char* event = luaL_checkstring(state, 1);
  luaL_checktype(state, 2, LUA_TFUNCTION);
  for (const std::string_view known : kEvents) {
    if (known != event) continue;
    lua_settop(state, 2);
    Behaviour::Of(state).AddHandler(event, luaL_ref(state, LUA_REGISTRYINDEX));
    return 0;
  }
  return luaL_error(state, "there is no event \"%s\"; expected %s", event, kEventNames);
}

int Now(lua_State* state) {
  lua_pushnumber(state, Behaviour::Of(state).Now());
  return 1;
}

int StartTimer(lua_State* state, bool repeats) {
  const double seconds = luaL_checknumber(state, 1);
  luaL_checktype(state, 2, LUA_TFUNCTION);
  const double least = repeats ? kShortestPeriod : 0;
  if (!(seconds >= least && seconds <= kLongestWait)) {
    return luaL_argerror(state, 1,
                         repeats ? "expected seconds from 0.001 to 10000000"
                                 : "expected seconds from 0 to 10000000");
  }
  lua_settop(state, 2);
  const int reference = luaL_ref(state, LUA_REGISTRYINDEX);
  const int id = Behaviour::Of(state).AddTimer(seconds, repeats ? seconds : 0, reference);
  if (id == 0) return luaL_error(state, "too many timers at once");
  lua_pushinteger(state, id);
  return 1;
}

int After(lua_State* state) { return StartTimer(state, false); }
int Every(lua_State* state) { return StartTimer(state, true); }

int Cancel(lua_State* state) {
  const lua_Integer id = luaL_checkinteger(state, 1);
  lua_pushboolean(state, Behaviour::Of(state).CancelTimer(static_cast<int>(id)) ? 1 : 0);
  return 1;
}

void SetInteger(lua_State* state, const char* name, lua_Integer value) {
  lua_pushinteger(state, value);
  lua_setfield(state, -2, name);
}

int ClockNow(lua_State* state) {
  const timespec now = Behaviour::Of(state).GetWorld().wallClock();
  tm parts = {};
  localtime_r(&now.tv_sec, &parts);
  lua_newtable(state);
  SetInteger(state, "year", parts.tm_year + 1900);
  SetInteger(state, "month", parts.tm_mon + 1);
  SetInteger(state, "day", parts.tm_mday);
  SetInteger(state, "hour", parts.tm_hour);
  SetInteger(state, "minute", parts.tm_min);
  SetInteger(state, "second", parts.tm_sec);
  SetInteger(state, "weekday", parts.tm_wday + 1);
  SetInteger(state, "yearday", parts.tm_yday + 1);
  lua_pushnumber(state, static_cast<double>(now.tv_nsec) / 1e9);
  lua_setfield(state, -2, "fraction");
  return 1;
}

/// Names of days and months in the application's language, when the system has it.
class TimeLocale {
 public:
  explicit TimeLocale(const std::string& name)
      : locale_(newlocale(LC_TIME_MASK, name.c_str(), nullptr)) {
    if (locale_ == nullptr) locale_ = newlocale(LC_TIME_MASK, "C.UTF-8", nullptr);
    if (locale_ == nullptr) locale_ = newlocale(LC_TIME_MASK, "C", nullptr);
  }
  TimeLocale(const TimeLocale&) = delete;
  TimeLocale& operator=(const TimeLocale&) = delete;
  ~TimeLocale() { freelocale(locale_); }
  locale_t Get() const { return locale_; }

 private:
  locale_t locale_;
};

int FormatClock(lua_State* state) {
  World& world = Behaviour::Of(state).GetWorld();
  const char* pattern = luaL_checkstring(state, 1);
  const time_t seconds = world.wallClock().tv_sec;
  tm parts = {};
  localtime_r(&seconds, &parts);
  const TimeLocale locale(world.host.Settings().locale);
  char text[512];
  const size_t length = strftime_l(text, sizeof text, pattern, &parts, locale.Get());
  if (length == 0 && *pattern != '\0') return luaL_argerror(state, 1, "the text is too long");
  lua_pushlstring(state, text, length);
  return 1;
}

int Trace(lua_State* state) {
  World& world = Behaviour::Of(state).GetWorld();
  const PlayerSettings& settings = world.host.Settings();
  if ((settings.traceFlags & qx::plexion::kTraceScript) == 0) return 0;
  std::string text;
  if (settings.debugMode) text = Script::Position(state, 1) + ": ";
  const int count = lua_gettop(state);
  for (int i = 1; i <= count; ++i) {
    size_t length = 0;
    const char* part = luaL_tolstring(state, i, &length);
    if (i > 1) text += '\t';
    text.append(part, std::min(length, kLongestTrace));
    lua_pop(state, 1);
    if (text.size() > kLongestTrace) {
      text.resize(kLongestTrace);
      text += "...";
      break;
    }
  }
  // What is told waits until the script has done its work, and it may trace without end.
  const unsigned number = Behaviour::Of(state).CountTrace();
  if (number > kMostTraces) return 0;
  if (number == kMostTraces) text = "more traces than can be told at one moment";
  if (IQXKernel* kernel = IQXKernel::GetKernel()) {
    kernel->Printf("TallyScript: %s\n", Printable(text).c_str());
  }
  world.host.Notify(qx::plexion::kInfoNotifyTSTrace, text);
  return 0;
}

int Complete(lua_State* state) {
  Behaviour::Of(state).GetWorld().host.Complete();
  return 0;
}

}  // namespace

void BindTime(lua_State* state) {
  lua_pushcfunction(state, Now);
  lua_setglobal(state, "time");
  lua_pushcfunction(state, On);
  lua_setglobal(state, "on");

  const luaL_Reg timers[] = {
      {"after", After}, {"every", Every}, {"cancel", Cancel}, {nullptr, nullptr}};
  luaL_newlib(state, timers);
  lua_setglobal(state, "timer");

  const luaL_Reg clocks[] = {{"now", ClockNow}, {"format", FormatClock}, {nullptr, nullptr}};
  luaL_newlib(state, clocks);
  lua_setglobal(state, "clock");
}

void BindSurroundings(lua_State* state) {
  const PlayerSettings& settings = Behaviour::Of(state).GetWorld().host.Settings();
  lua_pushcfunction(state, Trace);
  lua_setglobal(state, "trace");
  lua_pushcfunction(state, Trace);
  lua_setglobal(state, "print");
  lua_pushcfunction(state, Complete);
  lua_setglobal(state, "complete");
  lua_pushstring(state, settings.locale.c_str());
  lua_setglobal(state, "locale");

  lua_newtable(state);
  for (const auto& variable : settings.variables) {
    lua_pushlstring(state, variable.first.data(), variable.first.size());
    lua_pushlstring(state, variable.second.data(), variable.second.size());
    lua_rawset(state, -3);
  }
  lua_setglobal(state, "vars");

  std::vector<std::string> words;
  std::string error;
  if (!SplitArguments(settings.zorCmdLine, words, error)) {
    luaL_error(state, "--zorcmdline: %s", error.c_str());
  }
  lua_newtable(state);
  for (size_t i = 0; i < words.size(); ++i) {
    lua_pushlstring(state, words[i].data(), words[i].size());
    lua_rawseti(state, -2, static_cast<lua_Integer>(i) + 1);
  }
  lua_setglobal(state, "args");
}

bool SplitArguments(const std::string& line, std::vector<std::string>& words, std::string& error) {
  std::string word;
  bool inWord = false;
  char quote = '\0';
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (quote == '\'' || (quote == '"' && c != '\\')) {
      if (c == quote) {
        quote = '\0';
      } else {
        word += c;
      }
    } else if (c == '\\') {
      if (++i == line.size()) {
        error = "ends in a backslash; expected a character after it";
        return false;
      }
      word += line[i];
      inWord = true;
    } else if (c == '\'' || c == '"') {
      quote = c;
      inWord = true;
    } else if (c == ' ' || c == '\t' || c == '\n') {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
    } else {
      word += c;
      inWord = true;
    }
  }
  if (quote != '\0') {
    error = std::string("the quote ") + quote + " is never closed";
    return false;
  }
  if (inWord) words.push_back(word);
  return true;
}

}  // namespace plexion_host::player::application
