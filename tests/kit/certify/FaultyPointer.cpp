// Pointer streams that are wrong in one thing each: a listener for each address.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "qx/core/IQXKernel.h"
#include "qx/platform/IMouseStream.h"
#include "qx/plexion/StageWindowParameters.h"
#include "tests/kit/certify/Fault.h"

namespace {

/// Listens, takes who comes, and lets them go when they have said something.
class Server {
 public:
  explicit Server(int listener) : listener_(listener), thread_([this] { Serve(); }) {}
  ~Server() {
    over_ = true;
    thread_.join();
    close(listener_);
  }

 private:
  void Serve() {
    while (!over_ && !FAULT("pointer-does-not-listen")) {
      pollfd polled = {listener_, POLLIN, 0};
      if (poll(&polled, 1, 10) <= 0) continue;
      const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) continue;
      polled = {client, POLLIN, 0};
      char said[64];
      if (poll(&polled, 1, 10) > 0 && read(client, said, sizeof(said)) == sizeof(said) &&
          FAULT("pointer-trusts-its-clients")) {
        abort();
      }
      close(client);
      if (FAULT("pointer-serves-once")) {
        shutdown(listener_, SHUT_RDWR);
        return;
      }
    }
  }

  const int listener_;
  std::atomic<bool> over_{false};
  std::thread thread_;
};

class FaultyPointer final : public qx::platform::IMouseStream {
 public:
  ~FaultyPointer() override {
    if (FAULT("pointer-serves-on")) {
      for (auto& [address, server] : servers_) static_cast<void>(server.release());
    }
  }

  bool StartMouseStream(const qx::plexion::StageWindowParameters& parameters) override {
    const char* const address = parameters.mouseStream;
    if (FAULT("pointer-wants-a-bare-record") && parameters.contentPath != nullptr)
      return Refuse("no windows");
    if (servers_.count(address) != 0) return !FAULT("pointer-answers-again-with-false");
    if (FAULT("pointer-one-address-only") && !servers_.empty()) return Refuse("one is enough");
    const int listener = Listen(address);
    if (listener < 0 && FAULT("pointer-always-true")) return true;
    if (listener < 0) return Refuse("no address to serve");
    servers_[address] = std::make_unique<Server>(listener);
    return true;
  }

 private:
  static bool Refuse(const char* reason) {
    if (FAULT("pointer-refuses-in-silence")) return false;
    IQXKernel::GetKernel()->Printf("Pointer stream: %s\n", reason);
    return false;
  }

  static int Listen(const std::string& text) {
    const size_t colon = text.find(':');
    if (FAULT("pointer-trusts-the-address") && colon == std::string::npos) abort();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    if (colon == std::string::npos ||
        inet_pton(AF_INET, text.substr(0, colon).c_str(), &address.sin_addr) != 1)
      return -1;
    char* end = nullptr;
    long port = strtol(text.c_str() + colon + 1, &end, 10);
    if (*end != '\0' || port < 1 || port > 65535) return -1;
    if (FAULT("pointer-serves-the-next-port")) ++port;
    address.sin_port = htons(static_cast<uint16_t>(port));
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // No reuse of an address that is in use: it would be taken from whoever has it.
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
        (FAULT("pointer-does-not-listen") || listen(listener, 16) == 0))
      return listener;
    close(listener);
    return -1;
  }

  std::map<std::string, std::unique_ptr<Server>> servers_;
};

}  // namespace

extern "C" QX_EXPORT IQXModule* IQXModule_IMouseStream_ModuleLoad() {
  if (FAULT("pointer-load-leaves-a-thread")) {
    std::thread([] { std::this_thread::sleep_for(std::chrono::hours(1)); }).detach();
  }
  return new FaultyPointer;
}
extern "C" QX_EXPORT void IQXModule_IMouseStream_ModuleUnload(IQXModule* module) { delete module; }
