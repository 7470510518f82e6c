// Records what crosses a module's border: for hosts.

#ifndef KIT_RECORD_RECORDER_H_
#define KIT_RECORD_RECORDER_H_

#include <cstdint>
#include <memory>
#include <string>

class IQXKernel;
class IQXModule;

namespace plexion_record {

class Border;

/// How much of the pixels goes into the hash that stands for them.
///
/// A hash is taken of the source of each StretchCopy and of an output plane
/// when its pixels are unlocked after writing. kSampled reads 64 spots of 32
/// bytes, an eight by eight grid over the plane: a few microseconds, whatever
/// the size; a change between the spots is not seen. kWhole reads everything,
/// which for a full screen sixty times a second costs more than the movie.
enum class Pixels : uint32_t { kNone = 0, kSampled = 1, kWhole = 2 };

struct RecorderSettings {
  std::string path;
  /// Of the file. A quarter is kept for the beginning, the rest is a ring.
  uint64_t limitBytes = 64 * 1024 * 1024;
  /// The ring holds at least so much of the last time, if it has room for it,
  /// and not much more; 0: as much as there is room for.
  uint32_t keepMinutes = 0;
  Pixels pixels = Pixels::kSampled;
  /// The process's command line: secrets in it are hidden wherever they appear.
  int argc = 0;
  const char* const* argv = nullptr;
};

/// Writes every call over the border of the module IPlexion into a file
/// (Format.h), in both directions. A host that has one
///
///   1. hands `Kernel()` to the module's IQXModule_QXModule_PutKernel in its
///   own kernel's place,
///   2. calls the module's IQXModule_IPlexion_ModuleLoad by `Load` and its
///   ModuleUnload by `Unload`,
///   3. uses what Load returned, and the windows that it makes.
///
/// Everything that the module acquires is then wrapped by itself. Windows,
/// watchdogs and commands that the host sees are wrapped as well; planes,
/// players and observers are the host's own objects. Formatted texts (Printf,
/// FormatString) are formatted here, by the C library's rules.
///
/// Passwords stay outside (Secrets.h). A record costs a copy of some forty
/// bytes under one lock.
///
/// Lives as long as the module. Thread: any.
class Recorder {
 public:
  using LoadEntry = IQXModule* (*)();
  using UnloadEntry = void (*)(IQXModule*);

  explicit Recorder(IQXKernel& kernel);
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  /// Makes the file, anew if it exists. Returns  false with the reason in
  /// `error`.
  bool Open(const RecorderSettings& settings, std::string& error);
  /// For IQXModule_QXModule_PutKernel of the module.
  IQXKernel& Kernel();
  /// Calls `load` and wraps what it returns; null when that is null.
  IQXModule* Load(LoadEntry load);
  void Unload(UnloadEntry unload, IQXModule* service);
  /// Writes the end; what is called later is not recorded.
  void Close();

 private:
  std::unique_ptr<Border> border_;
  std::unique_ptr<IQXKernel, void (*)(IQXKernel*)> kernel_;
};

}  // namespace plexion_record

#endif  // KIT_RECORD_RECORDER_H_
