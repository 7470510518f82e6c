// Makes certificates that are right, and others.

#include "tests/host/media/TestCertificates.h"

#include <gnutls/x509.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <initializer_list>

namespace plexion_host::player {

namespace {

constexpr time_t kLongAgo = 946684800;  // 2000
constexpr time_t kYear = 366 * 24 * 3600;

/// A certificate and its key.
class Identity {
 public:
  Identity() {
    gnutls_x509_privkey_init(&key_);
    gnutls_x509_crt_init(&certificate_);
  }
  ~Identity() {
    gnutls_x509_crt_deinit(certificate_);
    gnutls_x509_privkey_deinit(key_);
  }
  Identity(const Identity&) = delete;
  Identity& operator=(const Identity&) = delete;

  /// Signed by `issuer`, or by itself as an authority when that is null.
  bool Make(const std::string& name, const Identity* issuer, time_t until) {
    const unsigned char serial = ++serials_;
    const bool authority = issuer == nullptr;
    const Identity& signer = authority ? *this : *issuer;
    const unsigned bits = GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1);
    for (const int result :
         {gnutls_x509_privkey_generate(key_, GNUTLS_PK_ECDSA, bits, 0),
          gnutls_x509_crt_set_version(certificate_, 3),
          gnutls_x509_crt_set_serial(certificate_, &serial, 1),
          gnutls_x509_crt_set_activation_time(certificate_, kLongAgo),
          gnutls_x509_crt_set_expiration_time(certificate_, until),
          gnutls_x509_crt_set_dn_by_oid(certificate_, GNUTLS_OID_X520_COMMON_NAME, 0, name.c_str(),
                                        static_cast<unsigned>(name.size())),
          gnutls_x509_crt_set_key(certificate_, key_),
          gnutls_x509_crt_set_basic_constraints(certificate_, authority ? 1 : 0, -1),
          authority ? 0
                    : gnutls_x509_crt_set_subject_alt_name(
                          certificate_, GNUTLS_SAN_DNSNAME, name.c_str(),
                          static_cast<unsigned>(name.size()), GNUTLS_FSAN_SET),
          gnutls_x509_crt_set_key_usage(
              certificate_, authority ? GNUTLS_KEY_KEY_CERT_SIGN : GNUTLS_KEY_DIGITAL_SIGNATURE),
          gnutls_x509_crt_sign2(certificate_, signer.certificate_, signer.key_, GNUTLS_DIG_SHA256,
                                0)}) {
      if (result < 0) return false;
    }
    return true;
  }

  bool Write(const std::string& path, bool withKey) const {
    std::ofstream file(path, std::ios::binary);
    gnutls_datum_t text = {};
    if (gnutls_x509_crt_export2(certificate_, GNUTLS_X509_FMT_PEM, &text) < 0) return false;
    file.write(reinterpret_cast<const char*>(text.data), text.size);
    gnutls_free(text.data);
    if (!withKey) return file.good();
    if (gnutls_x509_privkey_export2_pkcs8(key_, GNUTLS_X509_FMT_PEM, nullptr, GNUTLS_PKCS_PLAIN,
                                          &text) < 0) {
      return false;
    }
    file.write(reinterpret_cast<const char*>(text.data), text.size);
    gnutls_free(text.data);
    return file.good();
  }

 private:
  static inline unsigned char serials_ = 0;
  gnutls_x509_privkey_t key_ = nullptr;
  gnutls_x509_crt_t certificate_ = nullptr;
};

}  // namespace

bool MakeTestCertificates(const std::string& folder) {
  std::filesystem::create_directories(folder + "/trusted");
  std::filesystem::create_directories(folder + "/untrusted");
  const time_t later = time(nullptr) + kYear;
  Identity authority;
  Identity other;
  if (!authority.Make("Test authority", nullptr, later) ||
      !authority.Write(folder + "/trusted/ca.pem", false) ||
      !other.Make("Other authority", nullptr, later) ||
      !other.Write(folder + "/untrusted/ca.pem", false)) {
    return false;
  }
  const struct {
    const char* file;
    const char* name;
    const Identity* issuer;
    time_t until;
  } wanted[] = {{"server.pem", "localhost", &authority, later},
                {"expired.pem", "localhost", &authority, kLongAgo + kYear},
                {"elsewhere.pem", "signs.example", &authority, later},
                {"client.pem", "player", &authority, later},
                {"stranger.pem", "player", &other, later}};
  for (const auto& each : wanted) {
    Identity made;
    if (!made.Make(each.name, each.issuer, each.until) ||
        !made.Write(folder + "/" + each.file, true)) {
      return false;
    }
  }
  return true;
}

}  // namespace plexion_host::player
