// Clips and files of a test.

#ifndef TESTS_HOST_MEDIA_MEDIACLIPS_H_
#define TESTS_HOST_MEDIA_MEDIACLIPS_H_

#include <string>

namespace plexion_host::player {

/// A folder of clips that are made when a test asks for them; gone with the object.
class MediaClips {
 public:
  MediaClips();
  ~MediaClips();
  MediaClips(const MediaClips&) = delete;
  MediaClips& operator=(const MediaClips&) = delete;

  /// Runs a pipeline to its end; "%" in `pipeline` stands for the file's path.
  /// Returns  the path.
  std::string Make(const std::string& name, const std::string& pipeline);
  std::string Write(const std::string& name, const std::string& bytes);
  std::string PathOf(const std::string& name) const { return folder_ + "/" + name; }

  static std::string Read(const std::string& path);

 private:
  std::string folder_;
};

}  // namespace plexion_host::player

#endif  // TESTS_HOST_MEDIA_MEDIACLIPS_H_
