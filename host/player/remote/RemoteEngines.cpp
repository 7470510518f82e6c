// From a content's first bytes to a process that may do what it needs.

#include "host/player/remote/RemoteEngines.h"

#include <algorithm>

#include "host/player/content/ContentProbe.h"
#include "host/player/content/DeclaredAddresses.h"
#include "host/player/remote/RemoteEngine.h"

namespace plexion_host::player::remote {

namespace {

ContentOrder OrderOf(const ContentAddress& content, const ProbeResult& probe) {
  ContentOrder order;
  order.kind = probe.kind;
  // An application says in its document what it takes from there.
  order.network = !content.url.empty() ||
                  (probe.kind == ContentKind::kApplication && DeclaresAddresses(content));
  return order;
}

/// A network is asked when the content is wanted, and not before; and so is everything while the
/// operator has not said "go", who may want other content.
bool MayPrepare(const ContentAddress& content, ProbeResult& probe) {
  EngineError ignored;
  return content.url.empty() && !IsHostPaused() && ProbeContent(content, probe, ignored);
}

}  // namespace

std::unique_ptr<Engine> RemoteEngines::OpenEngine(const ContentAddress& content, EngineHost& host,
                                                  EngineError& error) {
  ProbeResult probe;
  if (!ProbeContent(content, probe, error)) return nullptr;
  return std::make_unique<RemoteEngine>(processes_, host, OrderOf(content, probe));
}

void RemoteEngines::Prepare(const ContentAddress& content) {
  ProbeResult probe;
  if (!MayPrepare(content, probe)) return;
  const ContentOrder order = OrderOf(content, probe);
  {
    const MutexLock lock(mutex_);
    // The window asks again for what was prepared early. One preparation is one process; a second
    // would stay unused.
    const auto early = std::find_if(early_.begin(), early_.end(), [&](const ContentOrder& other) {
      return other.kind == order.kind && other.network == order.network;
    });
    if (early != early_.end()) {
      early_.erase(early);
      return;
    }
  }
  processes_.Prepare(order, probe.description);
}

void RemoteEngines::PrepareEarly(const ContentAddress& content) {
  ProbeResult probe;
  if (!MayPrepare(content, probe)) return;
  const ContentOrder order = OrderOf(content, probe);
  {
    const MutexLock lock(mutex_);
    early_.push_back(order);
  }
  processes_.Prepare(order, probe.description);
}

}  // namespace plexion_host::player::remote
