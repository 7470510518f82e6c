// Tells sources of the network what is set here.

#include "host/player/media/net/HttpAccess.h"

#include "host/player/media/net/ProxyTunnel.h"

namespace plexion_host::player {

namespace {

bool Has(GstElement* element, const char* property) {
  return g_object_class_find_property(G_OBJECT_GET_CLASS(element), property) != nullptr;
}

bool IsHttps(GstElement* source) {
  const GTextPointer address(gst_uri_handler_get_uri(GST_URI_HANDLER(source)));
  return TextOf(address).compare(0, 6, "https:") == 0;
}

}  // namespace

void HttpAccess::SetProxy(const ProxySettings& proxy) {
  const MutexLock lock(mutex_);
  proxy_ = proxy;
}

ProxySettings HttpAccess::Proxy() const {
  const MutexLock lock(mutex_);
  return proxy_;
}

bool HttpAccess::UseCertificates(const std::string& trustedFolder, const std::string& clientTable,
                                 EngineError& error) {
  return trust_.Use(trustedFolder, error) && certificates_.Read(clientTable, error);
}

void HttpAccess::SetUp(GstElement* source) {
  // What the last server's certificate was refused for is no reason of this one's.
  trust_.BeginConnection();
  certificates_.BeginConnection();
  if (trust_.Database() != nullptr && Has(source, "tls-database") &&
      Has(source, "tls-interaction")) {
    g_object_set(source, "tls-database", trust_.Database(), "tls-interaction",
                 certificates_.Interaction(), nullptr);
  }
  const ProxySettings proxy = Proxy();
  // Nothing set here leaves the environment's proxy in force.
  if (proxy.host.empty() || !Has(source, "proxy") || !Has(source, "proxy-id")) return;
  g_object_set(source, "proxy", ProxyAddress(IsHttps(source)).c_str(), "proxy-id",
               proxy.user.empty() ? nullptr : proxy.user.c_str(), "proxy-pw",
               proxy.password.empty() ? nullptr : proxy.password.c_str(), nullptr);
}

std::string HttpAccess::ProxyAddress(bool https) const {
  const ProxySettings proxy = Proxy();
  if (proxy.host.empty()) return {};
  // A proxy is asked to fetch http by itself; https goes through it unread.
  if (https) return TunnelAddress(proxy);
  return "http://" + proxy.host + ":" + std::to_string(proxy.port);
}

std::string HttpAccess::CertificateFault() const {
  const std::string refusal = trust_.Refusal();
  return refusal.empty() ? certificates_.Question() : refusal;
}

}  // namespace plexion_host::player
