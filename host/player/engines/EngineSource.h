// Which engine plays what.

#ifndef HOST_PLAYER_ENGINES_ENGINESOURCE_H_
#define HOST_PLAYER_ENGINES_ENGINESOURCE_H_

#include <memory>
#include <string>

#include "host/base/Mutex.h"
#include "host/player/ContentAddress.h"
#include "host/player/Engine.h"
#include "host/player/content/ContentProbe.h"

namespace plexion_host::player {

/// Whether the operator's "go" is still to come, who may then want other content.
bool IsHostPaused();

/// Finds the engine for a piece of content.
class EngineSource {
 public:
  virtual ~EngineSource() = default;
  /// Returns  null with `error` when the content cannot be opened, is of no known kind, or its
  ///          engine is not there.
  /// Thread   any.
  virtual std::unique_ptr<Engine> OpenEngine(const ContentAddress& content, EngineHost& host,
                                             EngineError& error) = 0;

  /// Gets ready for content that will probably be opened soon; what is wrong with it is told when
  /// it is opened. Thread: any.
  virtual void Prepare(const ContentAddress& /*content*/) {}
  /// The same for content whose window is not there yet; its Prepare still comes. Thread: any.
  virtual void PrepareEarly(const ContentAddress& /*content*/) {}
  /// As IHostPlayer's.
  virtual std::string Protection() { return {}; }
};

/// The engines of this player: modules that are loaded when the first content asks for them and stay
/// until the player goes. So a host that shows only movies and pictures loads no media framework, and one whose
/// contents have processes of their own loads no engine at all.
class InstalledEngines final : public EngineSource {
 public:
  InstalledEngines() = default;
  InstalledEngines(const InstalledEngines&) = delete;
  InstalledEngines& operator=(const InstalledEngines&) = delete;
  ~InstalledEngines() override;

  std::unique_ptr<Engine> OpenEngine(const ContentAddress& content, EngineHost& host,
                                     EngineError& error) override;
  /// Loads the module of a local content's engine and has it prepare itself.
  void Prepare(const ContentAddress& content) override;
  /// The same at once, on this thread, for content whose kind is known; see
  /// IEngineModule::OpenLibraries. `format` as in ProbeResult.
  void OpenLibraries(ContentKind kind, const std::string& format);

 private:
  /// Null when the library is not on the kernel's module path.
  IEngineModule* Acquire(IEngineModule*& slot, const char* moduleName);
  /// The module for content of a kind.
  IEngineModule* ModuleFor(ContentKind kind);

  // Written once each, under the mutex; the destructor is alone.
  Mutex mutex_;
  IEngineModule* movie_ = nullptr;
  IEngineModule* picture_ = nullptr;
  IEngineModule* media_ = nullptr;
  IEngineModule* application_ = nullptr;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_ENGINES_ENGINESOURCE_H_
