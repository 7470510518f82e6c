#ifndef HOST_CONTRACTS_IHOSTLOOK_H_
#define HOST_CONTRACTS_IHOSTLOOK_H_

#include <cstdint>
#include <string>
#include <vector>

#include "qx/core/IQXModule.h"
#include "qx/plexion/Geometry.h"

namespace plexion_host {

/// What the page shows and does. Implemented by the launcher; outlives the server.
///
/// Thread   the server's, one call at a time. May wait a little: no content waits for it.
class ILookSource {
 public:
  virtual ~ILookSource() = default;
  /// Frames presented so far; 0 without a display.
  virtual uint64_t GetFrameCount() = 0;
  /// The screen as it is now. Returns  false without a display.
  virtual bool CopyScreen(qx::plexion::Dims& dims, std::vector<uint32_t>& pixels) = 0;
  /// One JSON object; what plays, and the last messages as "messages".
  virtual std::string GetStatus() = 0;
  /// Today as an SVG document; empty: there is no programme.
  virtual std::string GetDay() = 0;
  /// "next", "previous", "pause" or "play". Returns  false with the reason in `error`.
  virtual bool Act(const std::string& action, std::string& error) = 0;
};

struct LookSettings {
  std::string address;  ///< "127.0.0.1", "::1": a number, no name
  uint16_t port = 0;    ///< 0: any that is free
  std::string token;    ///< letters, digits, - and _; the first part of every path
};

/// A small page for a browser: module "IHostLook".
///
/// Order    Start once; Stop, or the release, ends all connections.
class IHostLook : public IQXModule {
 public:
  /// Returns  false with the reason in `error`.
  virtual bool Start(const LookSettings& settings, ILookSource& source, std::string& error) = 0;
  /// That it listens on; 0 before Start.
  virtual uint16_t GetPort() = 0;
  virtual void Stop() = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_IHOSTLOOK_H_
