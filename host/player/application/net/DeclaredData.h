// The data that an application has declared, as far as it has come.
#ifndef HOST_PLAYER_APPLICATION_NET_DECLAREDDATA_H_
#define HOST_PLAYER_APPLICATION_NET_DECLAREDDATA_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/base/ModuleHandle.h"
#include "host/player/Engine.h"
#include "host/player/WatchedMemory.h"
#include "host/player/application/net/DataAccess.h"
#include "host/player/application/stage/DataSource.h"

namespace plexion_host::player::application {

/// Of all data of an application, in the window's memory.
constexpr uint64_t kMostDataBytes = uint64_t{32} * 1024 * 1024;

/// Keeps the last good answer of each address. Nothing here waits.
///
/// Thread   the application's.
class DeclaredData {
 public:
  struct News {
    std::string name;     ///< "data:ID"
    std::string failure;  ///< empty: another value is there
  };

  explicit DeclaredData(EngineHost& host) : host_(host) {}
  DeclaredData(const DeclaredData&) = delete;
  DeclaredData& operator=(const DeclaredData&) = delete;

  /// Begins to ask. `access` is null for the one of this host.
  void Start(const std::vector<DataSource>& sources, IDataAccess* access);
  void SetProxy(const ProxySettings& proxy);

  /// What has come since the last call; `now` is the application's time.
  std::vector<News> Take(double now);
  static bool IsName(std::string_view name);
  /// Returns  false with `error` when it is not declared, or nothing has come yet.
  bool Read(std::string_view name, std::string& bytes, std::string& error) const;
  /// Seconds since it came; negative: it never did.
  double Age(std::string_view name, double now) const;
  bool IsDeclared(std::string_view name) const { return Find(name) != nullptr; }

 private:
  struct Entry {
    std::string id;
    bool has = false;
    double cameAt = 0;
    std::unique_ptr<WatchedBuffer> bytes;
    std::string failure;
  };

  const Entry* Find(std::string_view name) const;
  bool Keep(Entry& entry, const std::string& bytes);

  EngineHost& host_;
  std::vector<Entry> entries_;
  ModuleHandle<IDataAccess> module_;
  std::unique_ptr<DataFetcher> fetcher_;  ///< goes before the module that it is from
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_NET_DECLAREDDATA_H_
