// A scheme of our own for tunnels that need a password.

#include "host/player/media/net/ProxyTunnel.h"

#include <gio/gio.h>

#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

namespace {

constexpr const char* kScheme = "plexion-tunnel";

/// GIO's own proxy of the scheme "http". Lives as long as the process.
GProxy* HttpProxy() {
  static GProxy* const proxy = g_proxy_get_default_for_protocol("http");
  return proxy;
}

/// The same way, with the user and the password apart: the framework drops the password from a
/// proxy's address, so both travel as the user, "user:password".
GProxyAddress* WithPassword(GProxyAddress* address) {
  const gchar* const given = g_proxy_address_get_username(address);
  const std::string both = given == nullptr ? "" : given;
  // The first one: a user name has none in it, a password may.
  const size_t colon = both.find(':');
  const bool known = colon != std::string::npos;
  GInetSocketAddress* const place = G_INET_SOCKET_ADDRESS(address);
  return G_PROXY_ADDRESS(g_proxy_address_new(g_inet_socket_address_get_address(place),
                                             g_inet_socket_address_get_port(place), "http",
                                             g_proxy_address_get_destination_hostname(address),
                                             g_proxy_address_get_destination_port(address),
                                             known ? both.substr(0, colon).c_str() : nullptr,
                                             known ? both.substr(colon + 1).c_str() : nullptr));
}

GIOStream* Connect(GProxy*, GIOStream* stream, GProxyAddress* address, GCancellable* cancellable,
                   GError** error) {
  GProxyAddress* full = WithPassword(address);
  GIOStream* tunnel = g_proxy_connect(HttpProxy(), stream, full, cancellable, error);
  g_object_unref(full);
  return tunnel;
}

void ConnectAsync(GProxy*, GIOStream* stream, GProxyAddress* address, GCancellable* cancellable,
                  GAsyncReadyCallback callback, gpointer data) {
  GProxyAddress* full = WithPassword(address);
  g_proxy_connect_async(HttpProxy(), stream, full, cancellable, callback, data);
  g_object_unref(full);
}

GIOStream* ConnectFinish(GProxy*, GAsyncResult* result, GError** error) {
  return g_proxy_connect_finish(HttpProxy(), result, error);
}

gboolean SupportsHostname(GProxy*) { return TRUE; }

void InitInterface(gpointer made, gpointer) {
  auto* const proxy = static_cast<GProxyInterface*>(made);
  proxy->connect = Connect;
  proxy->connect_async = ConnectAsync;
  proxy->connect_finish = ConnectFinish;
  proxy->supports_hostname = SupportsHostname;
}

bool Register() {
  HttpProxy();  // the extension point is there from now on
  const GType type =
      g_type_register_static_simple(G_TYPE_OBJECT, "PlexionProxyTunnel", sizeof(GObjectClass),
                                    nullptr, sizeof(GObject), nullptr, GTypeFlags{});
  const GInterfaceInfo interface = {InitInterface, nullptr, nullptr};
  g_type_add_interface_static(type, G_TYPE_PROXY, &interface);
  return g_io_extension_point_implement(G_PROXY_EXTENSION_POINT_NAME, type, kScheme, 0) != nullptr;
}

}  // namespace

std::string TunnelAddress(const ProxySettings& proxy) {
  static const bool registered = Register();
  if (!registered) return {};
  std::string user;
  if (!proxy.user.empty()) {
    const std::string both = proxy.user + ":" + proxy.password;
    // With its colon: an address would otherwise end the user at the first one.
    const GTextPointer escaped(g_uri_escape_string(both.c_str(), nullptr, FALSE));
    user = TextOf(escaped) + "@";
  }
  return std::string(kScheme) + "://" + user + proxy.host + ":" + std::to_string(proxy.port);
}

}  // namespace plexion_host::player
