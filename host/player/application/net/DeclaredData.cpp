// Takes what the fetcher brings, and keeps it for scripts.
#include "host/player/application/net/DeclaredData.h"

#include <string.h>

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/player/application/net/WebAddress.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kPrefixBytes = sizeof kDataPrefix - 1;

}  // namespace

void DeclaredData::Start(const std::vector<DataSource>& sources, IDataAccess* access) {
  FetchSettings settings;
  for (const DataSource& source : sources) {
    // Those of streams, too: an address may send to any host that the document declares.
    settings.hosts.push_back(HostOf(source.address));
    if (source.isStream) continue;
    settings.addresses.push_back({source.address, source.everySeconds, source.timeoutSeconds});
    entries_.emplace_back();
    entries_.back().id = source.id;
  }
  if (entries_.empty()) return;
  const PlayerSettings& player = host_.Settings();
  settings.proxy = {player.proxy, player.proxyPort, player.proxyUser, player.proxyPassword};
  settings.certificateFolder = player.sslCertsDir;
  settings.clientCertificates = player.sslClientCertTable;
  settings.wake = [this] { host_.RequestFrame(); };
  if (access == nullptr && IQXKernel::GetKernel() != nullptr) {
    module_ = ModuleHandle<IDataAccess>(kDataAccessModule);
    access = module_.Get();
  }
  if (access != nullptr) fetcher_ = access->Open(std::move(settings));
  if (fetcher_ != nullptr) return;
  for (Entry& entry : entries_) entry.failure = "this player cannot ask the network";
}

void DeclaredData::SetProxy(const ProxySettings& proxy) {
  if (fetcher_ != nullptr) fetcher_->SetProxy(proxy);
}

bool DeclaredData::Keep(Entry& entry, const std::string& bytes) {
  uint64_t others = 0;
  for (const Entry& each : entries_) {
    if (&each != &entry && each.bytes != nullptr) others += each.bytes->Size();
  }
  // Without its own last answer, which the new one replaces.
  if (others + bytes.size() > kMostDataBytes) {
    entry.failure = "all data together would have more than the " + std::to_string(kMostDataBytes) +
                    " bytes that are allowed";
    return false;
  }
  // In the window's memory: what comes from the network counts against the window's limit.
  auto kept = std::make_unique<WatchedBuffer>();
  if (!bytes.empty() && !kept->Resize(host_.Memory(), bytes.size())) {
    entry.failure = "no memory for its " + std::to_string(bytes.size()) + " bytes";
    return false;
  }
  if (!bytes.empty()) memcpy(kept->Data(), bytes.data(), bytes.size());
  entry.bytes = std::move(kept);
  entry.failure.clear();
  entry.has = true;
  return true;
}

std::vector<DeclaredData::News> DeclaredData::Take(double now) {
  std::vector<News> news;
  if (fetcher_ == nullptr) return news;
  for (const Fetched& fetched : fetcher_->Take()) {
    PLEXION_CHECK(fetched.index < entries_.size(), "only what was asked for comes");
    Entry& entry = entries_[fetched.index];
    entry.failure = fetched.failure;
    if (fetched.failure.empty()) {
      if (Keep(entry, fetched.bytes)) {
        entry.cameAt = now;
      } else {
        // Else the server would say for ever that nothing has changed.
        fetcher_->Refuse(fetched.index);
      }
    }
    news.push_back({kDataPrefix + entry.id, entry.failure});
  }
  return news;
}

bool DeclaredData::IsName(std::string_view name) {
  return name.compare(0, kPrefixBytes, kDataPrefix) == 0;
}

const DeclaredData::Entry* DeclaredData::Find(std::string_view name) const {
  if (!IsName(name)) return nullptr;
  const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
    return entry.id == name.substr(kPrefixBytes);
  });
  return found == entries_.end() ? nullptr : &*found;
}

bool DeclaredData::Read(std::string_view name, std::string& bytes, std::string& error) const {
  const Entry* entry = Find(name);
  const std::string shown = "\"" + PrintableWord(std::string(name.substr(0, 100))) + "\"";
  if (entry == nullptr) {
    error = shown + " is not declared; expected <data id=\"...\" address=\"...\"/>";
    return false;
  }
  if (!entry->has) {
    error =
        "nothing has come of " + shown + (entry->failure.empty() ? " yet" : ": " + entry->failure);
    return false;
  }
  bytes.assign(entry->bytes->As<char>(), entry->bytes->Size());
  return true;
}

double DeclaredData::Age(std::string_view name, double now) const {
  const Entry* entry = Find(name);
  return entry != nullptr && entry->has ? std::max(0.0, now - entry->cameAt) : -1;
}

}  // namespace plexion_host::player::application
