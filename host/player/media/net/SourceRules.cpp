// Keeps playlists to addresses of the kind that they came from.

#include "host/player/media/net/SourceRules.h"

#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Mutex.h"
#include "host/base/Text.h"
#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

namespace {

/// The framework's sources that open files or descriptors of this process.
constexpr const char* kFileSources[] = {"filesrc", "giosrc", "fdsrc", "pushfilesrc"};
constexpr const char* kServerSource = "souphttpsrc";
constexpr size_t kShownBytes = 200;

using SetUri = gboolean (*)(GstURIHandler*, const gchar*, GError**);

struct Free {
  void operator()(char* text) const { free(text); }
};

std::string SchemeOf(const std::string& uri) {
  const size_t colon = uri.find(':');
  const GTextPointer lower(
      g_ascii_strdown(uri.c_str(), static_cast<gssize>(colon == std::string::npos ? 0 : colon)));
  return TextOf(lower);
}

/// The file's path without links; empty when there is none, or when it is no regular file: a pipe
/// or a device could keep its reader waiting for ever.
std::string PathOf(const std::string& uri) {
  const GTextPointer named(g_filename_from_uri(uri.c_str(), nullptr, nullptr));
  if (named == nullptr) return {};
  const std::unique_ptr<char, Free> real(realpath(named.get(), nullptr));
  struct stat info = {};
  if (real == nullptr || stat(real.get(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
  return real.get();
}

bool Exists(const std::string& uri) {
  const GTextPointer named(g_filename_from_uri(uri.c_str(), nullptr, nullptr));
  struct stat info = {};
  return named != nullptr && stat(named.get(), &info) == 0;
}

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

std::string Shown(const std::string& uri) { return PrintableWord(uri.substr(0, kShownBytes)); }

bool IsBelow(const std::string& path, const std::string& folder) {
  return !folder.empty() && path.compare(0, folder.size(), folder) == 0;
}

}  // namespace

/// Stands in front of the operations by which the framework's sources are told what to open.
class SourceWatch {
 public:
  static SourceWatch& Get() {
    // Never destroyed: sources of the framework may outlive everything.
    static SourceWatch* const watch = new SourceWatch();
    return *watch;
  }

  void Add(const SourceRules* rules) {
    const MutexLock lock(mutex_);
    rules_.insert(rules);
  }
  void Remove(const SourceRules* rules) {
    const MutexLock lock(mutex_);
    rules_.erase(rules);
  }
  std::string TakeRefusal() {
    const MutexLock lock(mutex_);
    return std::exchange(refusal_, {});
  }

 private:
  using SetProperty = void (*)(GObject*, guint, const GValue*, GParamSpec*);

  SourceWatch() {
    for (const char* name : kFileSources) WatchFiles(ClassOf(name));
    if (GObjectClass* servers = ClassOf(kServerSource)) {
      setServerProperty_ = servers->set_property;
      servers->set_property = SetServerProperty;
    }
  }

  /// Stays for as long as the process: classes are written to. Null when it is not installed.
  static GObjectClass* ClassOf(const char* name) {
    GstElementFactory* found = gst_element_factory_find(name);
    if (found == nullptr) return nullptr;
    GstPluginFeature* loaded = gst_plugin_feature_load(GST_PLUGIN_FEATURE(found));
    gst_object_unref(found);
    if (loaded == nullptr) return nullptr;
    const GType type = gst_element_factory_get_element_type(GST_ELEMENT_FACTORY(loaded));
    gst_object_unref(loaded);
    return G_OBJECT_CLASS(g_type_class_ref(type));
  }

  void WatchFiles(GObjectClass* sources) {
    if (sources == nullptr) return;
    auto* const addresses =
        static_cast<GstURIHandlerInterface*>(g_type_interface_peek(sources, GST_TYPE_URI_HANDLER));
    if (addresses == nullptr) return;
    // Our operation takes the place of the class's own, for all sources of that kind in the process:
    // the framework makes some that nobody tells of.
    originals_[G_OBJECT_CLASS_TYPE(sources)] = addresses->set_uri;
    addresses->set_uri = SetFile;
  }

  static gboolean SetFile(GstURIHandler* handler, const gchar* uri, GError** error) {
    SourceWatch& watch = Get();
    if (watch.IsAllowed(uri)) {
      return watch.originals_.at(G_OBJECT_TYPE(handler))(handler, uri, error);
    }
    const std::string refusal =
        "it names " + Shown(uri) + ", which nothing that is played may open";
    g_set_error(error, GST_URI_ERROR, GST_URI_ERROR_BAD_REFERENCE, "%s", refusal.c_str());
    const MutexLock lock(watch.mutex_);
    watch.refusal_ = refusal;
    return FALSE;
  }

  /// Who fetches a part of a playlist says on whose behalf, in the header that servers are told.
  static void SetServerProperty(GObject* source, guint id, const GValue* value, GParamSpec* spec) {
    SourceWatch& watch = Get();
    watch.setServerProperty_(source, id, value, spec);
    if (strcmp(g_param_spec_get_name(spec), "extra-headers") != 0 || !G_VALUE_HOLDS_BOXED(value)) {
      return;
    }
    const auto* const headers = static_cast<const GstStructure*>(g_value_get_boxed(value));
    const gchar* const referer =
        headers == nullptr ? nullptr : gst_structure_get_string(headers, "Referer");
    if (referer != nullptr) watch.Prepare(GST_ELEMENT(source), referer);
  }

  void Prepare(GstElement* source, const std::string& referer) {
    const MutexLock lock(mutex_);
    const SourceRules* owner = nullptr;
    for (const SourceRules* rules : rules_) {
      // Several contents may play at once: each part is fetched on behalf of one of them.
      if (rules->uri_ == referer) owner = rules;
    }
    // After a redirection a playlist has another address than the content.
    for (const SourceRules* rules : rules_) {
      if (owner == nullptr && rules->kind_ == SourceRules::Kind::kServer) owner = rules;
    }
    if (owner == nullptr || SchemeOf(referer) != SchemeOf(owner->uri_)) {
      SourceRules::Disarm(source);
    } else {
      owner->prepare_(source);
    }
  }

  bool IsAllowed(const std::string& uri) {
    if (SchemeOf(uri) != "file") return false;
    // What is not there is told by who tries to open it.
    if (!Exists(uri)) return true;
    const std::string path = PathOf(uri);
    const MutexLock lock(mutex_);
    return std::any_of(rules_.begin(), rules_.end(),
                       [&path](const SourceRules* rules) { return IsBelow(path, rules->folder_); });
  }

  // Constant once made.
  std::map<GType, SetUri> originals_;
  SetProperty setServerProperty_ = nullptr;

  Mutex mutex_;
  std::set<const SourceRules*> rules_ GUARDED_BY(mutex_);
  std::string refusal_ GUARDED_BY(mutex_);
};

SourceRules::SourceRules(const std::string& uri, std::function<void(GstElement*)> prepare)
    : kind_(Kind::kOther), uri_(uri), prepare_(std::move(prepare)) {
  const std::string scheme = SchemeOf(uri);
  if (scheme == "http" || scheme == "https") kind_ = Kind::kServer;
  if (scheme == "file") {
    kind_ = Kind::kFile;
    folder_ = FolderOf(PathOf(uri));
  }
  PLEXION_CHECK(prepare_ != nullptr, "somebody prepares what may be opened");
  SourceWatch::Get().Add(this);
}

SourceRules::~SourceRules() { SourceWatch::Get().Remove(this); }

std::string SourceRules::TakeRefusal() { return SourceWatch::Get().TakeRefusal(); }

bool SourceRules::MayOpen(const std::string& uri, std::string& reason) const {
  const std::string scheme = SchemeOf(uri);
  const std::string shown = Shown(uri);
  switch (kind_) {
    case Kind::kFile:
      if (scheme == "file" && IsBelow(PathOf(uri), folder_)) return true;
      reason = "it names " + shown + "; a file may name files in its own folder and below";
      return false;
    case Kind::kServer:
      if (scheme == "http" || scheme == "https") return true;
      reason = "it names " + shown + "; what comes from a server may name http and https addresses";
      return false;
    case Kind::kOther:
      if (scheme != "file") return true;
      reason = "it names " + shown + "; only a file may name files";
      return false;
  }
  return false;
}

bool SourceRules::MayOpen(GstElement* element, std::string& reason) const {
  if (!GST_IS_URI_HANDLER(element) ||
      gst_uri_handler_get_uri_type(GST_URI_HANDLER(element)) != GST_URI_SRC) {
    return true;
  }
  const GTextPointer uri(gst_uri_handler_get_uri(GST_URI_HANDLER(element)));
  // One that has no address yet is told one later, and asks then.
  return uri == nullptr || MayOpen(TextOf(uri), reason);
}

void SourceRules::Disarm(GstElement* element) {
  GObjectClass* const type = G_OBJECT_GET_CLASS(element);
  if (g_object_class_find_property(type, "location") == nullptr) return;
  // Nobody is at home at either address, and asking costs nothing.
  const bool isFile = g_object_class_find_property(type, "proxy") == nullptr;
  g_object_set(element, "location", isFile ? "/dev/null" : "http://127.0.0.1:1/", nullptr);
  if (!isFile) g_object_set(element, "proxy", "http://127.0.0.1:1", nullptr);
}

}  // namespace plexion_host::player
