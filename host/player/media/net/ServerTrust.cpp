// Looks at the certificates of servers, and keeps the reason when one is refused.

#include "host/player/media/net/ServerTrust.h"

#include <cstdlib>

#include "host/contracts/DataDirectory.h"
#include "host/player/media/net/CertificateFolder.h"

namespace plexion_host::player {

namespace {

/// Below the install base, as the service's usage text has it.
constexpr const char* kOwnFolder = "/data/config/ssl/certs";

std::string OwnFolder() {
  const char* const base = std::getenv(kDataDirectoryVariable);
  return std::string(base != nullptr && *base != '\0' ? base : kInstallBase) + kOwnFolder;
}

std::string DateOf(GDateTime* time) {
  if (time == nullptr) return "an unknown date";
  const GTextPointer text(g_date_time_format(time, "%Y-%m-%d %H:%M:%S UTC"));
  g_date_time_unref(time);
  return TextOf(text);
}

/// The names that a certificate is for.
std::string NamesIn(GTlsCertificate* certificate) {
  std::string names;
  GPtrArray* list = g_tls_certificate_get_dns_names(certificate);
  for (guint i = 0; list != nullptr && i < list->len; ++i) {
    gsize size = 0;
    const auto* text = g_bytes_get_data(static_cast<GBytes*>(list->pdata[i]), &size);
    if (!names.empty()) names += ", ";
    names.append(static_cast<const char*>(text), size);
  }
  if (list != nullptr) g_ptr_array_unref(list);
  return names;
}

std::string HostOf(GSocketConnectable* identity) {
  if (identity == nullptr) return "the server";
  if (G_IS_NETWORK_ADDRESS(identity)) {
    return std::string("\"") + g_network_address_get_hostname(G_NETWORK_ADDRESS(identity)) + "\"";
  }
  const GTextPointer text(g_socket_connectable_to_string(identity));
  return "\"" + TextOf(text) + "\"";
}

std::string Describe(GTlsCertificateFlags faults, GTlsCertificate* certificate,
                     GSocketConnectable* identity, const std::string& authority) {
  std::string text;
  const auto add = [&](GTlsCertificateFlags fault, const std::string& words) {
    if ((faults & fault) == 0) return;
    text += (text.empty() ? "" : ", and ") + words;
  };
  const std::string names = NamesIn(certificate);
  add(G_TLS_CERTIFICATE_UNKNOWN_CA, "none of " + authority + " vouches for it");
  add(G_TLS_CERTIFICATE_BAD_IDENTITY,
      names.empty() ? "it is not for a server of that name" : "it is for " + names);
  add(G_TLS_CERTIFICATE_EXPIRED,
      "it expired at " + DateOf(g_tls_certificate_get_not_valid_after(certificate)));
  add(G_TLS_CERTIFICATE_NOT_ACTIVATED,
      "it is not valid before " + DateOf(g_tls_certificate_get_not_valid_before(certificate)));
  add(G_TLS_CERTIFICATE_REVOKED, "it was revoked");
  add(G_TLS_CERTIFICATE_INSECURE, "its algorithm is not safe");
  if (text.empty()) text = "it cannot be checked";
  if ((faults & (G_TLS_CERTIFICATE_EXPIRED | G_TLS_CERTIFICATE_NOT_ACTIVATED)) != 0) {
    text += "; this machine's clock says " + DateOf(g_date_time_new_now_utc());
  }
  return "the certificate of " + HostOf(identity) + " is not accepted: " + text;
}

/// A database of certificates that asks another one, and keeps what was wrong: the framework's own
/// messages do not tell.
struct NotingDatabase {
  GTlsDatabase parent;
  GTlsDatabase* inner;
  std::shared_ptr<ServerTrust::Verdict>* verdict;
};

NotingDatabase* Noting(gpointer object) { return static_cast<NotingDatabase*>(object); }

GTlsCertificateFlags Verify(GTlsDatabase* self, GTlsCertificate* chain, const gchar* purpose,
                            GSocketConnectable* identity, GTlsInteraction* interaction,
                            GTlsDatabaseVerifyFlags flags, GCancellable* cancellable,
                            GError** error) {
  const GTlsCertificateFlags faults = g_tls_database_verify_chain(
      Noting(self)->inner, chain, purpose, identity, interaction, flags, cancellable, error);
  ServerTrust::Verdict& verdict = **Noting(self)->verdict;
  const MutexLock lock(verdict.mutex);
  // Also cleared: of several connections the last one's answer counts.
  verdict.refusal =
      faults == 0 ? std::string() : Describe(faults, chain, identity, verdict.authority);
  return faults;
}

void FinalizeNoting(GObject* object) {
  g_object_unref(Noting(object)->inner);
  delete Noting(object)->verdict;
  auto* const parent = static_cast<GObjectClass*>(
      g_type_class_peek_parent(g_type_class_peek(G_OBJECT_TYPE(object))));
  parent->finalize(object);
}

void InitNotingClass(gpointer made, gpointer) {
  G_OBJECT_CLASS(made)->finalize = FinalizeNoting;
  G_TLS_DATABASE_CLASS(made)->verify_chain = Verify;
}

GType NotingType() {
  static const GType type = g_type_register_static_simple(
      G_TYPE_TLS_DATABASE, "PlexionNotingDatabase", sizeof(GTlsDatabaseClass), InitNotingClass,
      sizeof(NotingDatabase), nullptr, GTypeFlags{});
  return type;
}

}  // namespace

bool ServerTrust::Use(const std::string& folder, EngineError& error) {
  GTlsBackend* const backend = g_tls_backend_get_default();
  // Content of plain http needs none of this.
  if (g_tls_backend_supports_tls(backend) == FALSE) return true;
  std::string reason;
  TlsDatabasePointer inner = ReadCertificateFolder(folder.empty() ? OwnFolder() : folder, reason);
  // Named and not to be had is an error: going on with the system's would trust others than the device's maker did.
  if (inner == nullptr && !folder.empty()) {
    error = {qx::plexion::kErrorStartupFailure, reason};
    return false;
  }
  verdict_->authority = "the certificates in \"" + (folder.empty() ? OwnFolder() : folder) + "\"";
  if (inner == nullptr) {
    verdict_->authority =
        "the system's certificates (--sslcertsdir DIR names a folder with others)";
    inner.reset(g_tls_backend_get_default_database(backend));
  }
  database_.reset(G_TLS_DATABASE(g_object_new(NotingType(), nullptr)));
  Noting(database_.get())->inner = inner.release();
  // Shared: the framework may keep the database longer than the content lives.
  Noting(database_.get())->verdict = new std::shared_ptr<Verdict>(verdict_);
  return true;
}

void ServerTrust::BeginConnection() {
  const MutexLock lock(verdict_->mutex);
  verdict_->refusal.clear();
}

std::string ServerTrust::Refusal() const {
  const MutexLock lock(verdict_->mutex);
  return verdict_->refusal;
}

}  // namespace plexion_host::player
