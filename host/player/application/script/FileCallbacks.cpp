// Watches files for a script and calls what it has for them.
#include "host/player/application/script/FileCallbacks.h"

#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kMostWatched = 1000;

}  // namespace

void FileCallbacks::Add(lua_State* state, const std::string& name) {
  PLEXION_CHECK(lua_type(state, -1) == LUA_TFUNCTION, "the library has looked at the argument");
  if (callbacks_.size() >= kMostWatched) {
    luaL_error(state, "more than %d files to watch", static_cast<int>(kMostWatched));
  }
  std::string error;
  bool good = true;
  if (DeclaredData::IsName(name)) {
    good = data_.IsDeclared(name);
    if (!good) error = "\"" + PrintableWord(name.substr(0, 100)) + "\" is not declared";
  } else {
    if (watch_ == nullptr) watch_ = std::make_unique<FileWatch>([this] { host_.RequestFrame(); });
    good = watch_->Add(base_, name, error);
  }
  if (!good) luaL_error(state, "%s", error.c_str());
  callbacks_.push_back({name, luaL_ref(state, LUA_REGISTRYINDEX)});
}

void FileCallbacks::CallChanged() {
  // The names are kept for as long as the script rests.
  if (!calls_.AreOpen()) return;
  for (const std::string& name : std::exchange(changedData_, {})) Call(name);
  if (watch_ == nullptr) return;
  for (const std::string& name : watch_->TakeChanged()) Call(name);
}

void FileCallbacks::Call(const std::string& name) {
  // By index: a callback may watch more files.
  for (size_t i = 0; i < callbacks_.size(); ++i) {
    if (callbacks_[i].name != name) continue;
    const int reference = callbacks_[i].reference;
    const auto call = [&](lua_State* state) {
      lua_rawgeti(state, LUA_REGISTRYINDEX, reference);
      lua_pushlstring(state, name.data(), name.size());
      lua_call(state, 1, 0);
    };
    calls_.Run("file", call);
  }
}

}  // namespace plexion_host::player::application
