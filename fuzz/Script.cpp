// A script in its sandbox: it may fail in the ways that are told, within its heap and its time, and
// gets nowhere else.

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <vector>

#include "fuzz/FuzzInput.h"
#include "host/player/application/ApplicationEngine.h"
#include "host/player/content/ContentProbe.h"
#include "host/player/lottie/LottieEngine.h"

namespace {

using namespace plexion_host::player;  // NOLINT(google-build-using-namespace): a program
using namespace plexion_host::player::application;  // NOLINT(google-build-using-namespace): of one
                                                    // file

constexpr unsigned kHeapMegabytes = 4;
/// By the clock of the machine, sanitizers included; a script's own limit is counted, not measured.
constexpr time_t kLongestRun = 20;

constexpr char kDocument[] =
    "<application width='64' height='36' rate='10'>"
    "<scene id='one'><rectangle id='box' width='9' height='9' fill='#ff0000'/>"
    "<text id='label' size='8'>A</text><group id='group'><image id='image'/></group></scene>"
    "<scene id='two'><movie id='movie'/><media id='media'/></scene>"
    "<script src='main.lua'/></application>";

/// A file that no script can read. Only the hash of its text is kept: the fuzzer learns every text
/// that inputs are compared with.
class SecretFile {
 public:
  static std::string Path() {
    static const std::string path = Make();
    return path;
  }
  static bool IsIn(const std::string& text) {
    for (size_t at = 0; at + kLength <= text.size(); ++at) {
      if (Hash(text.data() + at) == hash_) return true;
    }
    return false;
  }

 private:
  static constexpr size_t kLength = 36;

  static uint64_t Hash(const char* text) {
    uint64_t hash = 14695981039346656037U;
    for (size_t i = 0; i < kLength; ++i) {
      hash = (hash ^ static_cast<unsigned char>(text[i])) * 1099511628211U;
    }
    return hash;
  }
  static std::string Make() {
    char text[kLength] = {};
    const int random = open("/proc/sys/kernel/random/uuid", O_RDONLY);
    Require(read(random, text, kLength) == static_cast<ssize_t>(kLength), "a random text");
    close(random);
    hash_ = Hash(text);
    char path[] = "/tmp/plexion-fuzz-secret-XXXXXX";
    const int file = mkstemp(path);
    Require(write(file, text, kLength) == static_cast<ssize_t>(kLength), "a file");
    close(file);
    return path;
  }

  static uint64_t hash_;
};

uint64_t SecretFile::hash_ = 0;

class Host final : public EngineHost {
 public:
  Host() {
    settings_.gcHeapLimitMegabytes = kHeapMegabytes;
    settings_.traceFlags = ~0u;
    settings_.variables = {{"name", "value"}};
  }
  qx::plexion::MemoryWatchdog* Memory() override { return nullptr; }
  const PlayerSettings& Settings() override { return settings_; }
  bool Cancelled() override { return false; }
  void ReportProgress(unsigned percent) override { Require(percent <= 100, "progress"); }
  void RequestFrame() override {}
  void Complete() override {}
  void Fail(const EngineError& error) override {
    RequireReason(error);
    failed = true;
  }
  void Notify(qx::plexion::StageWindowStatus event, const std::string& message) override {
    Require(event == qx::plexion::kInfoNotifyTSTrace ||
                event == qx::plexion::kInfoUnsupportedPlaceholderRendered,
            "what observers hear");
    Require(!SecretFile::IsIn(message), "a file from outside");
  }
  static void RequireReason(const EngineError& error) {
    Require(!error.message.empty(), "an error says why");
    Require(error.status == qx::plexion::kErrorFatalPlaybackError ||
                error.status == qx::plexion::kErrorTallyScriptStuck ||
                error.status == qx::plexion::kErrorNotEnoughMemory,
            "status " + std::to_string(error.status) + ": " + error.message);
  }
  bool failed = false;

 private:
  PlayerSettings settings_;
};

/// A folder of its own for each fuzzer process, with the script as a file that is written again.
class Folder {
 public:
  Folder() {
    char pattern[] = "/tmp/plexion-fuzz-XXXXXX";
    path_ = mkdtemp(pattern);
    Write("application.xml", kDocument);
    Write("data.json", "{\"list\": [1, 2.5, null, true, \"text\"]}");
    Write("data.csv", "name,price\n\"a, b\",1\n");
    script_ = open((path_ + "/main.lua").c_str(), O_RDWR | O_CREAT, 0600);
    Require(script_ >= 0 && symlink(SecretFile::Path().c_str(), (path_ + "/link").c_str()) == 0 &&
                mkfifo((path_ + "/pipe").c_str(), 0600) == 0,
            "a folder for the application");
  }
  const std::string& Path() const { return path_; }
  bool SetScript(const uint8_t* data, size_t size) const {
    return ftruncate(script_, 0) == 0 &&
           pwrite(script_, data, size, 0) == static_cast<ssize_t>(size);
  }

 private:
  void Write(const std::string& name, const std::string& text) const {
    const int file = open((path_ + "/" + name).c_str(), O_WRONLY | O_CREAT, 0600);
    Require(write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "a file");
    close(file);
  }

  std::string path_;
  int script_ = -1;
};

void Play(Engine& engine, const Host& host) {
  std::vector<uint32_t> pixels(size_t{64} * 36);
  for (uint64_t position = 0; position < 12 && !host.failed; ++position) {
    InputEvent event;
    event.kind = static_cast<InputEvent::Kind>(position % (InputEvent::kStageRect + 1));
    event.code = 0x01000001 + position;
    event.x = event.y = 5;
    engine.OnInput(event);
    FrameStep step;
    step.frame = step.position = position;
    step.playing = true;
    engine.Advance(step);
    DrawTarget target;
    target.pixels = pixels.data();
    target.pitchBytes = 64 * 4;
    target.dims = {64, 36};
    target.everything = position == 0;
    engine.Draw(target);
  }
}

/// What an application may play inside, as far as it is linked in.
class LinkedMovies final : public EngineSource {
 public:
  std::unique_ptr<Engine> OpenEngine(const ContentAddress& content, EngineHost& host,
                                     EngineError& error) override {
    ProbeResult probe;
    if (!ProbeContent(content, probe, error)) return nullptr;
    if (probe.kind == ContentKind::kMovie) return MakeLottieEngine(host);
    error.message = "not here";
    return nullptr;
  }
};

}  // namespace

/// The font library keeps what it read of the system's fonts until the process ends.
extern "C" const char* __lsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
  return "leak:libfontconfig";
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Folder folder;
  if (!folder.SetScript(data, size)) return 0;
  const time_t began = time(nullptr);
  Host host;
  LinkedMovies engines;
  int64_t work = 0;
  ApplicationClocks clocks;
  clocks.wall = [] { return timespec{1000000000, 0}; };
  // So many looks at the clock, and the limit is reached.
  clocks.working = [&work] { return work += 100000000; };
  const std::unique_ptr<Engine> engine = MakeApplicationEngine(host, engines, clocks);
  const ContentAddress content = {folder.Path(), "", "application"};
  ContentFacts facts;
  EngineError error;
  if (engine->Load(content, facts, error)) {
    Play(*engine, host);
  } else {
    Host::RequireReason(error);
  }
  Require(time(nullptr) - began <= kLongestRun, "the script is stopped in time");
  return 0;
}
