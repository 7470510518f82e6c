// Answers servers that ask who is there.

#include "host/player/media/net/ClientCertificates.h"

#include <algorithm>
#include <utility>

#include "host/base/Text.h"

namespace plexion_host::player {

namespace {

constexpr const char* kForm =
    "expected HOST=FILE,HOST=FILE, each file in PEM with a certificate and its private key";

TlsCertificatePointer ReadCertificate(const std::string& file, std::string& reason) {
  GError* rawFault = nullptr;
  TlsCertificatePointer certificate(g_tls_certificate_new_from_file(file.c_str(), &rawFault));
  const GErrorPointer fault(rawFault);
  if (certificate == nullptr) {
    reason = fault == nullptr ? "it cannot be read" : fault->message;
    return nullptr;
  }
  gchar* rawKey = nullptr;
  g_object_get(certificate.get(), "private-key-pem", &rawKey, nullptr);
  const GTextPointer key(rawKey);
  if (key == nullptr) {
    reason = "the private key is not in it";
    return nullptr;
  }
  return certificate;
}

/// Answers the framework when a server asks.
struct TableInteraction {
  GTlsInteraction parent;
  std::shared_ptr<ClientCertificates::Answers>* answers;
};

TableInteraction* Table(gpointer object) { return static_cast<TableInteraction*>(object); }

std::string HostOf(GTlsConnection* connection) {
  if (!G_IS_TLS_CLIENT_CONNECTION(connection)) return {};
  GSocketConnectable* identity =
      g_tls_client_connection_get_server_identity(G_TLS_CLIENT_CONNECTION(connection));
  if (!G_IS_NETWORK_ADDRESS(identity)) return {};
  return g_network_address_get_hostname(G_NETWORK_ADDRESS(identity));
}

GTlsInteractionResult OnRequest(GTlsInteraction* self, GTlsConnection* connection,
                                GTlsCertificateRequestFlags, GCancellable*, GError**) {
  ClientCertificates::Answers& answers = **Table(self)->answers;
  const std::string host = HostOf(connection);
  auto entry = answers.entries.find(LowerAscii(host));
  if (entry == answers.entries.end()) entry = answers.entries.find("*");
  const bool known = entry != answers.entries.end();
  const MutexLock lock(answers.mutex);
  answers.question = "\"" + host + "\" asks for a client certificate, and " +
                     (known ? "does not accept that of \"" + entry->second.file + "\""
                            : "--sslclientcerttable HOST=FILE names none for it");
  if (!known) return G_TLS_INTERACTION_UNHANDLED;
  g_tls_connection_set_certificate(connection, entry->second.certificate.get());
  return G_TLS_INTERACTION_HANDLED;
}

void Finalize(GObject* object) {
  delete Table(object)->answers;
  auto* const parent = static_cast<GObjectClass*>(
      g_type_class_peek_parent(g_type_class_peek(G_OBJECT_TYPE(object))));
  parent->finalize(object);
}

void InitClass(gpointer made, gpointer) {
  G_OBJECT_CLASS(made)->finalize = Finalize;
  G_TLS_INTERACTION_CLASS(made)->request_certificate = OnRequest;
}

GType TableType() {
  static const GType type = g_type_register_static_simple(
      G_TYPE_TLS_INTERACTION, "PlexionTableInteraction", sizeof(GTlsInteractionClass), InitClass,
      sizeof(TableInteraction), nullptr, GTypeFlags{});
  return type;
}

}  // namespace

ClientCertificates::ClientCertificates()
    : interaction_(G_TLS_INTERACTION(g_object_new(TableType(), nullptr))) {
  Table(interaction_.get())->answers = new std::shared_ptr<Answers>(answers_);
}

bool ClientCertificates::Read(const std::string& table, EngineError& error) {
  error.status = qx::plexion::kErrorStartupFailure;
  for (size_t begin = 0; begin < table.size();) {
    const size_t end = std::min(table.find(',', begin), table.size());
    const std::string entry = table.substr(begin, end - begin);
    begin = end + 1;
    const std::string place = "--sslclientcerttable: \"" + entry + "\": ";
    const size_t equals = entry.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == entry.size()) {
      error.message = place + kForm;
      return false;
    }
    Answers::Entry made;
    made.file = entry.substr(equals + 1);
    std::string reason;
    made.certificate = ReadCertificate(made.file, reason);
    if (made.certificate == nullptr) {
      error.message = place + reason + "; " + kForm;
      return false;
    }
    if (!answers_->entries.emplace(LowerAscii(entry.substr(0, equals)), std::move(made)).second) {
      error.message = place + "this host is named twice";
      return false;
    }
  }
  return true;
}

void ClientCertificates::BeginConnection() {
  const MutexLock lock(answers_->mutex);
  answers_->question.clear();
}

std::string ClientCertificates::Question() const {
  const MutexLock lock(answers_->mutex);
  return answers_->question;
}

}  // namespace plexion_host::player
