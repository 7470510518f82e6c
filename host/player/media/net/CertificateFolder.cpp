// Reads the certificates of a folder.

#include "host/player/media/net/CertificateFolder.h"

#include <dirent.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <vector>

#include "host/base/ReadFile.h"
#include "host/base/Text.h"

namespace plexion_host::player {

namespace {

constexpr size_t kLargestCertificateFile = 4 * 1024 * 1024;
constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";

/// As tools name the files of a certificate folder by their subject's hash: 1a2b3c4d.0.
bool IsHashedName(std::string_view name) {
  return name.size() >= 10 && name[8] == '.' &&
         name.substr(0, 8).find_first_not_of("0123456789abcdef") == std::string_view::npos &&
         name.substr(9).find_first_not_of("0123456789") == std::string_view::npos;
}

bool MayHoldCertificate(std::string_view name) {
  return EndsWith(name, ".pem") || EndsWith(name, ".crt") || EndsWith(name, ".cer") ||
         IsHashedName(name);
}

bool ListFolder(const std::string& folder, std::vector<std::string>& names, std::string& reason) {
  DIR* entries = opendir(folder.c_str());
  if (entries == nullptr) {
    reason = std::generic_category().message(errno);
    return false;
  }
  while (const dirent* entry = readdir(entries)) {
    if (MayHoldCertificate(entry->d_name)) names.emplace_back(entry->d_name);
  }
  closedir(entries);
  std::sort(names.begin(), names.end());
  return true;
}

/// All certificates of the folder in one text, one after the other.
std::string JoinCertificates(const std::string& folder, const std::vector<std::string>& names) {
  std::string joined;
  for (const std::string& name : names) {
    std::string text;
    std::string ignored;
    // One that cannot be read, a pipe for example, is passed over: the folder is the system's, and the others
    // in it are good all the same.
    if (!ReadFile(folder + "/" + name, kLargestCertificateFile, text, ignored)) continue;
    if (text.find(kBegin) == std::string::npos) continue;
    joined += text;
    if (joined.back() != '\n') joined += '\n';
  }
  return joined;
}

/// The database reads a file by its name: one without a place in any folder will do.
TlsDatabasePointer MakeDatabase(const std::string& certificates, GError** error) {
  const int descriptor = memfd_create("certificates", MFD_CLOEXEC);
  if (descriptor < 0) return nullptr;
  size_t done = 0;
  while (done < certificates.size()) {
    const ssize_t wrote = write(descriptor, certificates.data() + done, certificates.size() - done);
    if (wrote <= 0) break;
    done += static_cast<size_t>(wrote);
  }
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  GTlsDatabase* database = g_tls_file_database_new(path.c_str(), error);
  close(descriptor);
  return TlsDatabasePointer(database);
}

}  // namespace

TlsDatabasePointer ReadCertificateFolder(const std::string& folder, std::string& reason) {
  std::vector<std::string> names;
  std::string cause;
  if (!ListFolder(folder, names, cause)) {
    reason = "cannot read the certificates of \"" + folder + "\": " + cause;
    return nullptr;
  }
  const std::string certificates = JoinCertificates(folder, names);
  if (certificates.empty()) {
    reason = "\"" + folder +
             "\" holds no certificates; expected files *.pem, *.crt or *.cer that hold \"" +
             std::string(kBegin) + "\"";
    return nullptr;
  }
  GError* rawFault = nullptr;
  TlsDatabasePointer database = MakeDatabase(certificates, &rawFault);
  const GErrorPointer fault(rawFault);
  if (database == nullptr) {
    reason = "the certificates of \"" + folder +
             "\" cannot be used: " + (fault == nullptr ? "no memory file" : fault->message);
  }
  return database;
}

}  // namespace plexion_host::player
