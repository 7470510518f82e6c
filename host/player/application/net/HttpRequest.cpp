// Sets questions up for libcurl, and takes their answers in.
#include "host/player/application/net/HttpRequest.h"

#include <math.h>

#include <algorithm>
#include <new>

#include "host/base/Text.h"
#include "host/player/application/net/WebAddress.h"

namespace plexion_host::player::application {

namespace {

/// Of all header lines together; a server might send them without end.
constexpr size_t kLargestHead = 65536;
/// Of what an answer says about its version.
constexpr size_t kLongestVersion = 1000;

/// The value of a header line "name: value"; false when it is another one.
bool TakeHeader(std::string_view line, std::string_view name, std::string& value) {
  if (line.size() <= name.size() || line[name.size()] != ':') return false;
  if (LowerAscii(line.substr(0, name.size())) != name) return false;
  line.remove_prefix(name.size() + 1);
  const size_t begin = line.find_first_not_of(" \t");
  const size_t end = line.find_last_not_of(" \t\r\n");
  value.clear();
  if (begin != std::string_view::npos && end - begin < kLongestVersion) {
    value = line.substr(begin, end - begin + 1);
  }
  return true;
}

}  // namespace

HttpRequest::HttpRequest(std::atomic<uint64_t>& underWay)
    : handle_(curl_easy_init()), underWay_(underWay) {}

HttpRequest::~HttpRequest() {
  Drop();
  if (handle_ != nullptr) curl_easy_cleanup(handle_);
  curl_slist_free_all(headers_);
}

void HttpRequest::Drop() {
  // With its room: `clear` would keep the largest answer's for the life of the application.
  underWay_ -= bytes_.size();
  bytes_ = std::string();
}

void HttpRequest::SetIdentity(const std::string& host, const FetchSettings& settings) {
  if (!settings.certificateFolder.empty()) {
    curl_easy_setopt(handle_, CURLOPT_CAINFO, nullptr);
    curl_easy_setopt(handle_, CURLOPT_CAPATH, settings.certificateFolder.c_str());
  }
  std::string file;
  for (const std::string& entry : SplitAt(settings.clientCertificates, ',')) {
    const size_t equals = entry.find('=');
    if (equals == std::string::npos) continue;
    const std::string name = LowerAscii(entry.substr(0, equals));
    // The host's own entry is the better one, wherever it stands.
    if (name == host || (name == "*" && file.empty())) file = entry.substr(equals + 1);
    if (name == host) break;
  }
  if (file.empty()) return;
  // One PEM file with a certificate and its key.
  curl_easy_setopt(handle_, CURLOPT_SSLCERT, file.c_str());
  curl_easy_setopt(handle_, CURLOPT_SSLKEY, file.c_str());
}

void HttpRequest::Begin(const std::string& address, double timeoutSeconds,
                        const FetchSettings& settings, const ProxySettings& proxy,
                        const AnswerVersion& version) {
  Drop();
  failure_.clear();
  redirection_.clear();
  answered_ = AnswerVersion();
  headBytes_ = 0;
  isTooLarge_ = false;
  hasNoRoom_ = false;
  reason_[0] = '\0';
  if (handle_ == nullptr) return;
  curl_easy_reset(handle_);
  curl_slist_free_all(headers_);
  headers_ = nullptr;
  const auto timeoutMs = static_cast<long>(std::max(1.0, ceil(timeoutSeconds * 1000)));
  curl_easy_setopt(handle_, CURLOPT_URL, address.c_str());
  curl_easy_setopt(handle_, CURLOPT_PROTOCOLS_STR, "http,https");
  // Where a redirection leads is looked at first; the library would follow it anywhere.
  curl_easy_setopt(handle_, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(handle_, CURLOPT_TIMEOUT_MS, timeoutMs);
  curl_easy_setopt(handle_, CURLOPT_CONNECTTIMEOUT_MS, timeoutMs);
  curl_easy_setopt(handle_, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kLargestAnswer));
  // Time-outs by signals would arrive on whichever thread the process has.
  curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
  // The end of the content does not wait for names to be looked up.
  curl_easy_setopt(handle_, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(handle_, CURLOPT_USERAGENT, "Plexion");
  curl_easy_setopt(handle_, CURLOPT_ERRORBUFFER, reason_);
  curl_easy_setopt(handle_, CURLOPT_HEADERFUNCTION, OnHead);
  curl_easy_setopt(handle_, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, OnBody);
  curl_easy_setopt(handle_, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(handle_, CURLOPT_PRIVATE, this);
  // Only the proxy that the device names, as for media; not one of the environment, and whatever that
  // leaves out.
  curl_easy_setopt(handle_, CURLOPT_NOPROXY, "");
  curl_easy_setopt(handle_, CURLOPT_PROXY, proxy.host.c_str());
  if (!proxy.host.empty()) {
    curl_easy_setopt(handle_, CURLOPT_PROXYPORT, static_cast<long>(proxy.port));
    if (!proxy.user.empty()) {
      curl_easy_setopt(handle_, CURLOPT_PROXYUSERNAME, proxy.user.c_str());
      curl_easy_setopt(handle_, CURLOPT_PROXYPASSWORD, proxy.password.c_str());
    }
  }
  SetIdentity(HostOf(address), settings);
  if (!version.entityTag.empty()) {
    headers_ = curl_slist_append(headers_, ("If-None-Match: " + version.entityTag).c_str());
  }
  if (!version.lastModified.empty()) {
    headers_ = curl_slist_append(headers_, ("If-Modified-Since: " + version.lastModified).c_str());
  }
  curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
}

size_t HttpRequest::OnHead(char* bytes, size_t size, size_t count, void* self) {
  auto& request = *static_cast<HttpRequest*>(self);
  const std::string_view line(bytes, size * count);
  request.headBytes_ += line.size();
  if (request.headBytes_ > kLargestHead) {
    request.isTooLarge_ = true;
    return 0;
  }
  try {
    if (!TakeHeader(line, "etag", request.answered_.entityTag)) {
      TakeHeader(line, "last-modified", request.answered_.lastModified);
    }
  } catch (const std::bad_alloc&) {
    // It must not pass through the library.
    request.hasNoRoom_ = true;
    return 0;
  }
  return line.size();
}

size_t HttpRequest::OnBody(char* bytes, size_t size, size_t count, void* self) {
  auto& request = *static_cast<HttpRequest*>(self);
  // A server need not say how much it sends, and may send more.
  if (request.bytes_.size() + size * count > kLargestAnswer) {
    request.isTooLarge_ = true;
    return 0;
  }
  if (request.underWay_ + size * count > kMostUnderWay) {
    request.hasNoRoom_ = true;
    return 0;
  }
  try {
    request.bytes_.append(bytes, size * count);
  } catch (const std::bad_alloc&) {
    request.hasNoRoom_ = true;
    return 0;
  }
  request.underWay_ += size * count;
  return size * count;
}

HttpRequest::Outcome HttpRequest::Finish(CURLcode code) {
  const Outcome outcome = OutcomeOf(code);
  if (outcome != Outcome::kAnswer) Drop();
  return outcome;
}

HttpRequest::Outcome HttpRequest::OutcomeOf(CURLcode code) {
  if (hasNoRoom_) {
    failure_ = "no room for it: all answers under way may have " + std::to_string(kMostUnderWay) +
               " bytes together";
    return Outcome::kFailed;
  }
  if (isTooLarge_ || code == CURLE_FILESIZE_EXCEEDED) {
    failure_ = headBytes_ > kLargestHead
                   ? "the answer's head has more than " + std::to_string(kLargestHead) + " bytes"
                   : "the answer has more than the " + std::to_string(kLargestAnswer) +
                         " bytes that are allowed";
    return Outcome::kFailed;
  }
  if (code == CURLE_OPERATION_TIMEDOUT) {
    failure_ = bytes_.empty() ? "no answer within the time-out"
                              : "the answer did not come to its end within the time-out";
    return Outcome::kFailed;
  }
  if (code != CURLE_OK) {
    failure_ = reason_[0] != '\0' ? reason_ : curl_easy_strerror(code);
    return Outcome::kFailed;
  }
  long status = 0;
  curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
  // It may name a place, and leads to none.
  if (status == 304) return Outcome::kUnchanged;
  const char* target = nullptr;
  curl_easy_getinfo(handle_, CURLINFO_REDIRECT_URL, &target);
  if (status >= 300 && status < 400 && target != nullptr) {
    redirection_ = target;
    return Outcome::kRedirected;
  }
  if (status == 200) return Outcome::kAnswer;
  failure_ = "the server answered " + std::to_string(status) + "; expected 200";
  return Outcome::kFailed;
}

}  // namespace plexion_host::player::application
