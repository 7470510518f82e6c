// From a content's first bytes to a process that may do what it needs.

#include "host/player/remote/RemoteEngines.h"

#include "host/player/content/ContentProbe.h"
#include "host/player/remote/RemoteEngine.h"

namespace plexion_host::player::remote {

namespace {

ContentOrder OrderOf(const ContentAddress& content, const ProbeResult& probe) {
  ContentOrder order;
  order.kind = probe.kind;
  order.network = !content.url.empty();
  return order;
}

}  // namespace

std::unique_ptr<Engine> RemoteEngines::OpenEngine(const ContentAddress& content, EngineHost& host,
                                                  EngineError& error) {
  ProbeResult probe;
  if (!ProbeContent(content, probe, error)) return nullptr;
  return std::make_unique<RemoteEngine>(processes_, host, OrderOf(content, probe));
}

void RemoteEngines::Prepare(const ContentAddress& content) {
  // A network is asked when the content is wanted, and not before; and so is everything while the
  // operator has not said "go", who may want other content.
  if (!content.url.empty() || IsHostPaused()) return;
  ProbeResult probe;
  EngineError ignored;
  if (!ProbeContent(content, probe, ignored)) return;
  processes_.Prepare(OrderOf(content, probe), probe.description);
}

}  // namespace plexion_host::player::remote
