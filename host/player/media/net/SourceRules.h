// What the parts of one content may open: a playlist names others.

#ifndef HOST_PLAYER_MEDIA_NET_SOURCERULES_H_
#define HOST_PLAYER_MEDIA_NET_SOURCERULES_H_

#include <gst/gst.h>

#include <functional>
#include <string>

namespace plexion_host::player {

/// What a content may open follows from where it came. A file names regular files in its own folder
/// and below, and nothing in the network; what came from a server names http and https addresses.
/// Content of other schemes (a camera) opens what it likes but files.
///
/// The framework opens some addresses of playlists behind everybody's back. So the first of these
/// objects has the framework's own sources ask before each opening: those of files whether any of
/// these objects allows it, those of servers whether the one allows it whose playlist they name as
/// the reason.
///
/// Thread   any; constant once made.
class SourceRules {
 public:
  /// `uri` is the content's own address. `prepare` is called with sources of servers that were made
  /// on behalf of it, on threads of the framework, until this object has gone. After the framework
  /// has been started.
  SourceRules(const std::string& uri, std::function<void(GstElement*)> prepare);
  ~SourceRules();
  SourceRules(const SourceRules&) = delete;
  SourceRules& operator=(const SourceRules&) = delete;

  /// Returns  false with `reason`, which names the address.
  bool MayOpen(const std::string& uri, std::string& reason) const;

  /// The same for an element that is about to open what it was told. Elements that are no sources
  /// with addresses may do what they like.
  bool MayOpen(GstElement* element, std::string& reason) const;

  /// What was refused last, to whomever, and is forgotten now; empty: nothing.
  static std::string TakeRefusal();

  /// Has an element fail that may not open what it was told.
  static void Disarm(GstElement* element);

 private:
  friend class SourceWatch;
  enum class Kind { kFile, kServer, kOther };

  Kind kind_;
  const std::string uri_;
  const std::function<void(GstElement*)> prepare_;
  std::string folder_;  // of a file, without links in it; ends in a slash
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_NET_SOURCERULES_H_
