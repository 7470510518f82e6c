// Time, timers and events as a script sees them.
#include <locale.h>
#include <time.h>

#include "host/player/application/script/ScriptHost.h"
#include "host/player/application/script/library/Libraries.h"

namespace plexion_host::player::application {

namespace {

constexpr double kShortestPeriod = 0.001;
constexpr double kLongestWait = 1e7;

int On(lua_State* state) {
  const char* event = luaL_checkstring(state, 1);
  luaL_checktype(state, 2, LUA_TFUNCTION);
  if (!EventHandlers::IsEvent(event)) {
    return luaL_error(state, "there is no event \"%s\"; expected %s", event,
                      EventHandlers::EventNames().c_str());
  }
  lua_settop(state, 2);
  ScriptHost::Of(state).Handlers().Add(state, event);
  return 0;
}

int Now(lua_State* state) {
  lua_pushnumber(state, ScriptHost::Of(state).Now());
  return 1;
}

int StartTimer(lua_State* state, bool repeats) {
  const double seconds = luaL_checknumber(state, 1);
  luaL_checktype(state, 2, LUA_TFUNCTION);
  // A period of nothing would be due for ever.
  const double least = repeats ? kShortestPeriod : 0;
  if (!(seconds >= least && seconds <= kLongestWait)) {
    return luaL_argerror(state, 1,
                         repeats ? "expected seconds from 0.001 to 10000000"
                                 : "expected seconds from 0 to 10000000");
  }
  lua_settop(state, 2);
  ScriptHost& self = ScriptHost::Of(state);
  // By the moment of the frame at hand: what a script starts in one go begins together.
  const int id = self.GetTimers().Start(state, self.Now(), seconds, repeats ? seconds : 0);
  if (id == 0) return luaL_error(state, "too many timers at once");
  lua_pushinteger(state, id);
  return 1;
}

int After(lua_State* state) { return StartTimer(state, false); }
int Every(lua_State* state) { return StartTimer(state, true); }

int Cancel(lua_State* state) {
  const lua_Integer id = luaL_checkinteger(state, 1);
  lua_pushboolean(state, ScriptHost::Of(state).GetTimers().Cancel(static_cast<int>(id)) ? 1 : 0);
  return 1;
}

void SetInteger(lua_State* state, const char* name, lua_Integer value) {
  lua_pushinteger(state, value);
  lua_setfield(state, -2, name);
}

/// The moment in the zone that the argument names, else in the application's.
tm ReadClock(lua_State* state, time_t moment, int argument) {
  ScriptHost& self = ScriptHost::Of(state);
  const char* zone = luaL_optstring(state, argument, self.Context().stage.timezone.c_str());
  tm parts = {};
  if (!self.Zones().Read(moment, zone, parts)) {
    luaL_error(state, "there is no time zone \"%s\"; expected one such as Europe/Rome", zone);
  }
  return parts;
}

int ClockNow(lua_State* state) {
  const timespec now = ScriptHost::Of(state).Context().wallClock();
  const tm parts = ReadClock(state, now.tv_sec, 1);
  lua_newtable(state);
  SetInteger(state, "year", parts.tm_year + 1900);
  SetInteger(state, "month", parts.tm_mon + 1);
  SetInteger(state, "day", parts.tm_mday);
  SetInteger(state, "hour", parts.tm_hour);
  SetInteger(state, "minute", parts.tm_min);
  SetInteger(state, "second", parts.tm_sec);
  SetInteger(state, "weekday", parts.tm_wday + 1);
  SetInteger(state, "yearday", parts.tm_yday + 1);
  SetInteger(state, "offset", parts.tm_gmtoff);
  lua_pushnumber(state, static_cast<double>(now.tv_nsec) / 1e9);
  lua_setfield(state, -2, "fraction");
  return 1;
}

/// Names of days and months in the language that somebody named, when the system has it; in English
/// when nobody did, whatever is installed.
class TimeLocale {
 public:
  TimeLocale(const std::string& name, Notices& notices)
      : locale_(name.empty() ? nullptr : newlocale(LC_TIME_MASK, name.c_str(), nullptr)) {
    if (locale_ == nullptr && !name.empty()) {
      notices.Tell("the locale \"" + name + "\" is not installed; days and months are in English");
    }
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
  const ScriptContext& context = ScriptHost::Of(state).Context();
  const char* pattern = luaL_checkstring(state, 1);
  const tm parts = ReadClock(state, context.wallClock().tv_sec, 2);
  const TimeLocale locale(context.host.Settings().locale, context.notices);
  // strftime says 0 both for a text that is too long and for one that is empty.
  char text[512];
  const size_t length = strftime_l(text, sizeof text, pattern, &parts, locale.Get());
  if (length == 0 && *pattern != '\0') return luaL_argerror(state, 1, "the text is too long");
  lua_pushlstring(state, text, length);
  return 1;
}

}  // namespace

void OpenTimeLibrary(lua_State* state) {
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

}  // namespace plexion_host::player::application
