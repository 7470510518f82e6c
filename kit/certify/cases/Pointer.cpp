// Promises of the remote pointer.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "kit/certify/Groups.h"
#include "kit/certify/bench/ModuleUnderTest.h"
#include "kit/certify/bench/Service.h"
#include "qx/platform/IMouseStream.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_certify {
namespace {

using qx::platform::IMouseStream;
using qx::plexion::StageWindowParameters;

/// A socket of this machine's own, closed with it.
class Socket {
 public:
  explicit Socket(int type) : descriptor(socket(AF_INET, type | SOCK_CLOEXEC, 0)) {}
  ~Socket() { close(descriptor); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  /// Port 0 takes a free one.
  bool Bind(int port) const {
    const sockaddr_in address = Loopback(port);
    return bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  }
  bool Connect(int port) const {
    const sockaddr_in address = Loopback(port);
    return connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  }
  int Port() const {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
  }

  const int descriptor;

 private:
  static sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
  }
};

int FreePort() {
  const Socket socket(SOCK_STREAM);
  return socket.Bind(0) ? socket.Port() : 0;
}

std::string AddressOf(int port) { return Text("127.0.0.1:%d", port); }

/// Whether somebody listens there; which protocol a pointer speaks the contract leaves open.
bool IsServed(int port) {
  if (Socket(SOCK_STREAM).Connect(port)) return true;
  return !Socket(SOCK_DGRAM).Bind(port) && errno == EADDRINUSE;
}

/// The pointer stream under test.
struct Stream {
  explicit Stream(Case& streamCase)
      : c(streamCase), module(ModuleUnderTest<IMouseStream>(streamCase, "IMouseStream")) {}

  bool Start(const std::string& address) { return StartAt(c, module, address); }
  /// Serves at a free port, and answers which. Somebody else may take the port meanwhile: it has three tries.
  int StartSomewhere() {
    for (int i = 0; i < 3; ++i) {
      const int port = FreePort();
      if (Start(AddressOf(port))) return port;
    }
    c.Fail("true from StartMouseStream at a free port of 127.0.0.1", "false");
  }

  /// The text of the address changes as soon as the call has returned.
  static bool StartAt(Case& c, IMouseStream& stream, const std::string& address) {
    StageWindowParameters parameters;
    memset(static_cast<void*>(&parameters), 0, sizeof(parameters));
    std::string text = address;
    parameters.mouseStream = text.c_str();
    parameters.mouseFeedback = 1;
    c.Step("StartMouseStream at \"" + address.substr(0, 60) + "\"");
    const bool started = stream.StartMouseStream(parameters);
    std::fill(text.begin(), text.end(), 'x');
    return started;
  }

  Case& c;
  IMouseStream& module;
};

void Serves(Case& c) {
  Stream stream(c);
  const int port = stream.StartSomewhere();
  CERTIFY_REQUIRE(c, c.Until([port] { return IsServed(port); }, 2000),
                  "a server at " + AddressOf(port), "nobody listens there");
}

void Again(Case& c) {
  Stream stream(c);
  const int port = stream.StartSomewhere();
  CERTIFY_REQUIRE(c, c.Until([port] { return IsServed(port); }, 2000),
                  "a server at " + AddressOf(port), "nobody listens there");
  for (int i = 0; i < 3; ++i) {
    CERTIFY_REQUIRE(c, stream.Start(AddressOf(port)), "true for an address that is served already",
                    "false");
    c.SleepMs(20);
  }
  CERTIFY_REQUIRE(c, c.Until([port] { return IsServed(port); }, 2000),
                  "it is served on, to the next client as well", "nobody listens any more");
}

void Several(Case& c) {
  Stream stream(c);
  std::vector<int> ports;
  for (int i = 0; i < 4; ++i) ports.push_back(stream.StartSomewhere());
  for (const int port : ports) {
    CERTIFY_REQUIRE(c, c.Until([port] { return IsServed(port); }, 2000),
                    "each of four addresses is served", "nobody listens at " + AddressOf(port));
  }
}

void Refuses(Case& c) {
  Stream stream(c);
  const Socket taken(SOCK_STREAM), takenToo(SOCK_DGRAM);
  const bool prepared = taken.Bind(0) && listen(taken.descriptor, 1) == 0;
  if (!prepared || !takenToo.Bind(taken.Port())) c.Skip("no port of this machine could be taken");
  const bool printsHere = !c.GetOptions().modules.at("IMouseStream").empty();
  std::vector<std::string> addresses = {AddressOf(taken.Port()),
                                        "nonsense",
                                        "",
                                        ":",
                                        "127.0.0.1",
                                        "127.0.0.1:",
                                        "127.0.0.1:99999",
                                        "300.1.2.3:5900",
                                        "127.0.0.1:-1",
                                        std::string(5000, '1') + ":5900"};
  for (const std::string& address : addresses) {
    const size_t printed = c.GetBench().Ledger().Printed().size();
    CERTIFY_REQUIRE(c, !stream.Start(address),
                    address == addresses.front() ? "false for a port that somebody else has"
                                                 : "false for what is no address",
                    "true");
    CERTIFY_REQUIRE(c, !printsHere || c.GetBench().Ledger().Printed().size() > printed,
                    "the reason printed", "nothing was printed");
  }
}

void Strangers(Case& c) {
  Stream stream(c);
  const int port = stream.StartSomewhere();
  if (!c.Until([port] { return Socket(SOCK_STREAM).Connect(port); }, 2000)) {
    c.Skip("it is not served over TCP");
  }
  c.Step("clients that send nonsense, say nothing, and go");
  std::string noise(4096, '\0');
  for (char& byte : noise) byte = static_cast<char>(c.random());
  const Socket silent(SOCK_STREAM);
  silent.Connect(port);
  for (int i = 0; i < 8; ++i) {
    const Socket client(SOCK_STREAM);
    client.Connect(port);
    // Whether it is taken is the server's to say.
    const ssize_t sent = send(client.descriptor, noise.data(), noise.size(), MSG_NOSIGNAL);
    if (sent < 0) continue;
  }
  c.SleepMs(200);  // it takes them when it likes
  CERTIFY_REQUIRE(c, stream.Start(AddressOf(port)), "true meanwhile, for the same address",
                  "false");
  CERTIFY_REQUIRE(c, c.Until([port] { return Socket(SOCK_STREAM).Connect(port); }, 2000),
                  "the next client is served", "it is refused");
}

void Stops(Case& c) {
  LedgerKernel& kernel = c.GetBench().Ledger();
  const std::string& file = c.GetOptions().modules.at("IMouseStream");
  ModuleFile module;
  std::string error;
  if (!file.empty()) {
    CERTIFY_REQUIRE(c, module.Open(file, "IMouseStream", error), "the module", error);
    module.putKernel(&kernel);
  }
  const auto load = [&] {
    return static_cast<IMouseStream*>(file.empty() ? kernel.AcquireModule("IMouseStream")
                                                   : module.load());
  };
  const auto unload = [&](IMouseStream* stream) {
    c.Step("releasing the stream for the last time");
    if (file.empty()) {
      kernel.ReleaseModule(stream);
    } else {
      module.unload(stream);
    }
  };
  unload(load());  // what is made once, and kept, is there
  const int threads = ThreadCount(), files = DescriptorCount();
  IMouseStream* const stream = load();
  CERTIFY_REQUIRE(c, stream != nullptr, "the module", "null");
  int port = 0;
  bool started = false;
  for (int i = 0; i < 3 && !started; ++i) {
    port = FreePort();
    started = Stream::StartAt(c, *stream, AddressOf(port));
  }
  CERTIFY_REQUIRE(c, started, "true from StartMouseStream at a free port", "false");
  c.Until([port] { return IsServed(port); }, 2000);
  unload(stream);
  CERTIFY_REQUIRE(c, !IsServed(port), "nothing is served any more",
                  "somebody still listens at " + AddressOf(port));
  c.Until([&] { return ThreadCount() <= threads && DescriptorCount() <= files; }, 1000);
  CERTIFY_REQUIRE(c, ThreadCount() <= threads && DescriptorCount() <= files,
                  Text("%d threads and %d open files, as before", threads, files),
                  Text("%d and %d", ThreadCount(), DescriptorCount()));
}

void ModulePlays(Case& c) {
  Service service(c);
  service.player.frames = 100;
  const int port = FreePort();
  auto* const window = service.Open({"--mousestream", AddressOf(port)});
  c.Step("LoadForLFD and CreatePlanes");
  CERTIFY_REQUIRE(c, window->LoadForLFD() && window->CreatePlanes(), "true from both", "false");
  std::atomic<bool> served{false}, over{false};
  bool shown = false;
  {
    CaseThread runner(c, [&] {
      shown = window->PlayForLFD();
      over = true;
    });
    c.Step("PlayForLFD of a window with --mousestream " + AddressOf(port));
    while (!over && !served) {
      served = IsServed(port);
      c.SleepMs(5);
    }
  }
  CERTIFY_REQUIRE(c, shown, "true: it was shown", "false");
  CERTIFY_REQUIRE(c, served, "the pointer stream served while the window plays",
                  "nobody listened at " + AddressOf(port));
}

constexpr Promise kPromises[] = {
    {"pointer.serves", "StartMouseStream serves at the address that it is given.", Level::kBasic,
     "", Serves},
    {"pointer.again", "Starting at an address that is served already changes nothing.",
     Level::kContract, "pointer.serves", Again},
    {"pointer.several", "Several addresses are served at a time.", Level::kContract,
     "pointer.serves", Several},
    {"pointer.refuses", "What cannot be served is false, and the reason is printed.",
     Level::kContract, "", Refuses},
    {"pointer.strangers", "Who connects and talks nonsense keeps nobody else from being served.",
     Level::kContract, "pointer.again", Strangers},
    {"pointer.stops", "It is served until the module is released for the last time.",
     Level::kContract, "pointer.serves", Stops},
    {"pointer.module.plays", "A window with --mousestream is served while it plays.",
     Level::kContract, "pointer.serves", ModulePlays},
};

}  // namespace

PromiseGroup PointerPromises() {
  return MakeGroup("Pointer stream", "qx/platform/IMouseStream.h",
                   "Tried at free ports of 127.0.0.1. Two windows may name one address, so a "
                   "second start is no error.",
                   kPromises);
}

}  // namespace plexion_certify
