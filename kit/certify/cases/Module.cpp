// What the module itself makes of a host: windows from a command line to their end.

#include <cstring>
#include <vector>

#include "kit/certify/Groups.h"
#include "kit/certify/bench/Service.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_certify {
namespace {

using namespace qx::plexion;

std::string Of(StageWindow* window) {
  return Text("status %d", static_cast<int>(window->GetStageWindowStatus()));
}

/// Load, planes and Play of a window, each to its end.
void Show(Case& c, Service& service, StageWindow* window, Observer& observer) {
  window->RegisterNotifier(&observer);
  c.Step("LoadMVXAsync, CreatePlanes and Play of a window");
  window->LoadMVXAsync();
  CERTIFY_REQUIRE(c, service.WaitFor(window, kStatusReadyToAnimate), "kStatusReadyToAnimate",
                  Of(window));
  CERTIFY_REQUIRE(c, window->CreatePlanes(), "CreatePlanes answers true", "false: " + Of(window));
  CERTIFY_REQUIRE(c, window->Play(), "Play answers true", "false");
  CERTIFY_REQUIRE(c, c.Until([&] { return observer.Count(kInfoOutputPlaneUpdated) > 1; }, 15000),
                  "frames on the output plane",
                  Text("%d, ", observer.Count(kInfoOutputPlaneUpdated)) + Of(window));
}

void PlaysSet(Case& c, unsigned windows) {
  Service service(c);
  std::vector<std::string> words;
  for (unsigned i = 0; i < windows; ++i) words.push_back(service.Content());
  const QXError error = service.OpenSet(words);
  CERTIFY_REQUIRE(c, error == QXError_OK && service.Set().Count() == windows,
                  Text("%u windows", windows), error.name);
  service.RunToCompletion();
  CERTIFY_REQUIRE(c, service.Set().IsEmpty(), "an empty set: windows that have ended are destroyed",
                  Text("%u windows", service.Set().Count()));
}

void Plays(Case& c) { PlaysSet(c, 1); }
void PlaysTwo(Case& c) { PlaysSet(c, 2); }

void GivesBack(Case& c) {
  {
    Observer observer;
    Service warm(c);  // what a module makes once, and keeps, is no window's
    Show(c, warm, warm.Open(), observer);
  }
  const Balance before = c.GetBench().Ledger().Out();
  Observer observer;  // outlives the windows that tell it
  Service service(c);
  StageWindow* const window = service.Open();
  Show(c, service, window, observer);
  service.Unload();
  const Balance after = c.GetBench().Ledger().Out();
  CERTIFY_REQUIRE(c, after.Equals(before, !c.GetOptions().KernelFindsModules()),
                  "all that was taken from the kernel given back: " + before.ToText(),
                  after.ToText());
}

void Shows(Case& c) {
  Observer observer;  // outlives the windows that tell it
  Service service(c);
  service.player.frames = 1000;
  StageWindow* const window = service.Open({"--outputrect", "40,30,64,48"});
  Show(c, service, window, observer);
  auto* const plane = window->GetOutputPlane();
  CERTIFY_REQUIRE(c, plane != nullptr, "an output plane", "null");
  const Rect rect = window->GetRectOnScreen();
  CERTIFY_REQUIRE(c, rect.x == 40 && rect.y == 30 && rect.width == 64 && rect.height == 48,
                  "the window at 40,30 64x48",
                  Text("%u,%u %ux%u", rect.x, rect.y, rect.width, rect.height));
  size_t drawn = 0;
  c.Until(
      [&] {
        drawn = 0;
        const auto* row = static_cast<const unsigned char*>(plane->LockPixels(true));
        for (uint32_t y = 0; y < 48; ++y, row += plane->GetPitch()) {
          for (uint32_t x = 0; x < 64; ++x) {
            uint32_t pixel = 0;
            memcpy(&pixel, row + size_t{x} * 4, sizeof(pixel));
            drawn += pixel >> 24 != 0;
          }
        }
        plane->UnlockPixels();
        return drawn == 64 * 48;
      },
      3000);
  CERTIFY_REQUIRE(c, drawn > 64 * 48 / 2, "the player's picture in the output plane's pixels",
                  Text("%zu of 3072 pixels are not transparent", drawn));
}

void Resized(Case& c) {
  Observer observer;  // outlives the windows that tell it
  Service service(c);
  service.player.frames = 1000;
  StageWindow* const window = service.Open({"--outputrect", "0,0,320,180"});
  Show(c, service, window, observer);
  for (const Dims& dims : {Dims{400, 240}, Dims{160, 90}, Dims{333, 111}}) {
    const int before = observer.Count(kInfoWindowResized);
    c.Step(Text("Resize to %ux%u between two frames", dims.width, dims.height));
    window->Resize(dims, true);
    CERTIFY_REQUIRE(c, c.Until([&] { return observer.Count(kInfoWindowResized) > before; }, 5000),
                    "kInfoWindowResized",
                    Text("%d and %d failures", observer.Count(kInfoOutputPlaneResizeFailed),
                         observer.Count(kInfoRenderPlaneResizeFailed)));
    const Rect rect = window->GetRectOnScreen();
    CERTIFY_REQUIRE(c, rect.width == dims.width && rect.height == dims.height,
                    Text("%ux%u", dims.width, dims.height), Text("%ux%u", rect.width, rect.height));
    const int frames = observer.Count(kInfoOutputPlaneUpdated);
    CERTIFY_REQUIRE(c,
                    c.Until([&] { return observer.Count(kInfoOutputPlaneUpdated) > frames; }, 5000),
                    "frames after the resize", Of(window));
  }
  const int moved = observer.Count(kInfoWindowMoved);
  c.Step("MoveTo");
  window->MoveTo({70, 80});
  CERTIFY_REQUIRE(c, c.Until([&] { return observer.Count(kInfoWindowMoved) > moved; }, 3000),
                  "kInfoWindowMoved", "none");
  CERTIFY_REQUIRE(c, window->GetRectOnScreen().x == 70, "the window at 70,80",
                  Text("%u", window->GetRectOnScreen().x));
}

void Together(Case& c) {
  std::vector<std::unique_ptr<Observer>> observers;  // outlive the windows that tell them
  Service service(c);
  service.player.frames = 100000;
  std::vector<std::string> words;
  for (int i = 0; i < 64; ++i) {
    words.insert(words.end(),
                 {"--outputrect", Text("%d,%d,48,32", i % 8 * 60, i / 8 * 40), service.Content()});
  }
  const QXError error = service.OpenSet(words);
  CERTIFY_REQUIRE(c, error == QXError_OK && service.Set().Count() == 64, "64 windows",
                  Text("%u", service.Set().Count()));
  for (unsigned i = 0; i < 64; ++i) {
    observers.push_back(std::make_unique<Observer>());
    service.Set()[i]->RegisterNotifier(observers.back().get());
    service.Set()[i]->LoadMVXAsync();
  }
  c.Step("64 windows load, get planes and play");
  for (unsigned i = 0; i < 64; ++i) {
    StageWindow* const window = service.Set()[i];
    CERTIFY_REQUIRE(c, service.WaitFor(window, kStatusReadyToAnimate, 30000),
                    "kStatusReadyToAnimate", Of(window));
    CERTIFY_REQUIRE(c, window->CreatePlanes(), Text("planes for window %u", i + 1),
                    "false: " + Of(window));
  }
  for (unsigned i = 0; i < 64; ++i) service.Set()[i]->Play();
  for (unsigned i = 0; i < 64; ++i) {
    CERTIFY_REQUIRE(
        c, c.Until([&] { return observers[i]->Count(kInfoOutputPlaneUpdated) > 0; }, 20000),
        Text("frames of window %u", i + 1), Of(service.Set()[i]));
  }
}

void Thousands(Case& c) {
  Service service(c);
  StageWindowParameters parameters;
  memset(static_cast<void*>(&parameters), 0, sizeof(parameters));
  service->InitParameters(parameters);
  parameters.contentPath = service.Content().c_str();
  c.Step("10,000 windows made and destroyed, one after the other");
  long before = 0;
  const int threads = ThreadCount();
  for (int i = 0; i < 10000; ++i) {
    if (i == 500) before = ResidentBytes();
    StageWindow* const window = service->CreateStageWindow(parameters);
    CERTIFY_REQUIRE(c, window != nullptr, Text("window %d", i + 1), "null");
    service->DestroyStageWindow(window);
  }
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (8L << 20), "windows leave nothing behind",
                  Text("the process grew by %ld KiB", grown >> 10));
  c.Until([&] { return ThreadCount() <= threads + 2; }, 1000);
  CERTIFY_REQUIRE(c, ThreadCount() <= threads + 2, "no threads left",
                  Text("%d", ThreadCount() - threads));
}

void HoursOfKeys(Case& c) {
  Observer observer;  // outlives the windows that tell it
  Service service(c);
  service.player.frames = 1 << 30;
  StageWindow* const window = service.Open();
  Show(c, service, window, observer);
  LedgerKernel& kernel = c.GetBench().Ledger();
  constexpr IQXKernel::Time kHours = IQXKernel::Time{3} * 3600 * 1000 * kMillisecond;
  c.Step("a key held for three hours of the kernel's time, repeated every 100 ms");
  kernel.UseVirtualTime(true);
  CERTIFY_REQUIRE(
      c, service->SetKeyInputMode(kKeyInputModeAutoRepeat, 400 * kMillisecond, 100 * kMillisecond),
      "SetKeyInputMode answers true", "false");
  service->DispatchKeyDown(0x01000004);
  const IQXKernel::Time pressed = kernel.VirtualTime();  // it flies: an hour in half a second
  c.Until([&] { return kernel.VirtualTime() - pressed >= kHours / 10; }, 20000);
  const long before = ResidentBytes();
  CERTIFY_REQUIRE(c, c.Until([&] { return kernel.VirtualTime() - pressed >= kHours; }, 40000),
                  "three hours pass",
                  Text("%.2f h: the thread of the key repeat stands still",
                       static_cast<double>(kernel.VirtualTime() - pressed) / 3.6e12));
  service->DispatchKeyUp(0x01000004);
  const long keys = service.player.keyDowns;
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, keys > 3 * 36000 * 9 / 10, "about 108,000 repeats at the player",
                  Text("%ld", keys));
  CERTIFY_REQUIRE(c, grown < (8L << 20), "repeats pile up nowhere",
                  Text("the process grew by %ld KiB", grown >> 10));
}

void PausedSet(Case& c) {
  if (!c.GetOptions().Has("IShell"))
    c.Skip("this host has no shell: nobody waits for the operator");
  // Before a thread waits for what cannot come: it would be joined for ever.
  if (!c.GetBench().CanType()) c.Skip("there is no way to type at this shell");
  c.GetBench().Ledger().UseArguments({"plexion-certify", "--pause"});
  Observer observer;  // outlives the windows that tell it
  Service service(c);
  const QXError error = service.OpenSet({service.Content(), service.Content()});
  CERTIFY_REQUIRE(c, error == QXError_OK, "two windows", error.name);
  for (unsigned i = 0; i < service.Set().Count(); ++i) {
    service.Set()[i]->RegisterNotifier(&observer);
  }
  service.RunToCompletion([&] {
    c.Step("the set waits for \"go\"");
    c.SleepMs(300);
    const bool early = observer.Count(kStatusPlaying) > 0;
    CERTIFY_EXPECT(c, c.GetBench().Type("go"), "a line that can be typed at the shell",
                   "it cannot");
    CERTIFY_EXPECT(c, !early, "nothing plays before \"go\"", "it played");
  });
}

void Present(Case& c) {
  for (const char* name : {"IMorvelRuntimeLib", "IGraphicsDriver"}) {
    CERTIFY_REQUIRE(c, c.GetOptions().Has(name),
                    std::string("the module ") + name + ", without which nothing is shown",
                    "none in the host's folder");
    IQXModule* const module = c.GetBench().Ledger().AcquireModule(name);
    CERTIFY_REQUIRE(c, module != nullptr, name, c.GetBench().Ledger().WhyNot(name));
  }
}

constexpr Promise kKernelPromises[] = {
    {"kernel.module.plays", "The module plays a window to its end on this kernel.", Level::kBasic,
     "kernel.thread.runs kernel.mutex.recursive kernel.event.resets kernel.event.infinite "
     "kernel.memory.keeps",
     Plays},
    {"kernel.module.gives-back", "Nothing is left of a window when the module is unloaded.",
     Level::kContract, "kernel.module.plays", GivesBack},
    {"kernel.module.together", "64 windows play at a time.", Level::kFull, "kernel.module.plays",
     Together},
    {"kernel.module.thousands", "10,000 windows leave nothing behind.", Level::kFull,
     "kernel.module.plays kernel.mutex.many kernel.event.many kernel.thread.thousands "
     "kernel.memory.gives-back",
     Thousands},
    {"kernel.module.hours-of-keys", "Three hours of key repeat.", Level::kFull,
     "kernel.module.plays", HoursOfKeys},
};

constexpr Promise kGraphicsPromises[] = {
    {"graphics.module.shows", "The module's picture arrives in the output plane, at its place.",
     Level::kBasic, "graphics.output.created graphics.render.rows", Shows},
    {"graphics.module.resizes", "A window is resized between two frames, and moved.",
     Level::kContract, "graphics.module.shows graphics.output.resize graphics.render.resize",
     Resized},
    {"graphics.module.gives-back", "Nothing is left of a window when the module is unloaded.",
     Level::kContract, "graphics.module.shows", GivesBack},
    {"graphics.module.together", "64 windows are shown at a time.", Level::kFull,
     "graphics.module.shows", Together},
};

constexpr Promise kPlayerPromises[] = {
    {"player.module.plays", "The module plays a window to its end with this player.", Level::kBasic,
     "player.play player.missing", Plays},
    {"player.module.two", "Two windows of one set play to their end.", Level::kContract,
     "player.module.plays", PlaysTwo},
    {"player.module.shows", "The player's picture arrives in the output plane.", Level::kContract,
     "player.plane.draws", Shows},
    {"player.module.resizes", "Content goes on in a window that is resized.", Level::kContract,
     "player.module.shows player.between-frames player.plane.same-again", Resized},
    {"player.module.gives-back", "Nothing is left of a window when the module is unloaded.",
     Level::kContract, "player.module.shows player.balance", GivesBack},
    {"player.module.together", "64 windows play at a time.", Level::kFull,
     "player.together player.module.shows", Together},
    {"player.module.thousands", "10,000 windows leave nothing behind.", Level::kFull,
     "player.thousands player.configure", Thousands},
};

constexpr Promise kHostPromises[] = {
    {"host.present", "The host has a player and a graphics driver.", Level::kBasic, "", Present},
    {"host.plays", "A command line of one content plays to its end.", Level::kBasic, "host.present",
     Plays},
    {"host.plays-two", "A command line of two contents plays to its end.", Level::kContract,
     "host.plays", PlaysTwo},
    {"host.waits-for-go", "With --pause a set waits for the operator's \"go\", then plays.",
     Level::kContract, "host.plays", PausedSet},
    {"host.shows", "The picture arrives in the output plane, at its place.", Level::kBasic,
     "host.present", Shows},
    {"host.resizes", "A window is resized between two frames, and moved.", Level::kContract,
     "host.shows", Resized},
    {"host.gives-back", "Nothing is left of a window when the module is unloaded.",
     Level::kContract, "host.shows", GivesBack},
    {"host.together", "64 windows play at a time.", Level::kFull, "host.shows", Together},
    {"host.thousands", "10,000 windows leave nothing behind.", Level::kFull, "host.present",
     Thousands},
};

constexpr char kHeader[] = "qx/plexion/IPlexion.h";

}  // namespace

PromiseGroup KernelWindowPromises() {
  return MakeGroup(
      "Kernel: the module on it", kHeader,
      "The built IPlexion.so on the kernel under test, with a player and planes of the kit's own.",
      kKernelPromises);
}
PromiseGroup GraphicsWindowPromises() {
  return MakeGroup(
      "Graphics: the module on it", kHeader,
      "The built IPlexion.so with the driver under test, and a player of the kit's own.",
      kGraphicsPromises);
}
PromiseGroup PlayerWindowPromises() {
  return MakeGroup("Player: the module on it", kHeader,
                   "The built IPlexion.so with the player under test, and planes of the kit's own.",
                   kPlayerPromises);
}
PromiseGroup HostPromises() {
  return MakeGroup(
      "The whole host", kHeader,
      "The built IPlexion.so on a host's kernel, with its player and its graphics driver.",
      kHostPromises);
}

}  // namespace plexion_certify
