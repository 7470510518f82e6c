// The engine for pictures, moving ones as well.

#ifndef HOST_PLAYER_PICTURE_PICTUREENGINE_H_
#define HOST_PLAYER_PICTURE_PICTUREENGINE_H_

#include <memory>
#include <string>

#include "host/player/Engine.h"
#include "host/player/image/PictureTimes.h"
#include "host/player/picture/AnimationCompositor.h"
#include "host/player/picture/DirectPicture.h"
#include "host/player/picture/PicturePainter.h"

namespace plexion_host::player {

/// Shows what host/player/image decodes. A still picture is content of one frame that lasts for
/// `duration`; an animation is clocked content whose steps are its frames.
///
/// Order    Load; or, for bytes that came another way, LoadBytes in its place.
class PictureEngine final : public Engine {
 public:
  explicit PictureEngine(EngineHost& host);
  ~PictureEngine() override;

  /// Of a local file.
  bool Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) override;
  bool LoadBytes(const std::string& name, std::unique_ptr<PictureBytes> bytes, ContentFacts& facts,
                 EngineError& error);
  bool Seek(double seconds, bool relative, std::string& fault) override;
  StepResult Advance(const FrameStep& step) override;
  DrawResult Draw(const DrawTarget& target) override;
  void SaveMemory() override;

 private:
  bool IsMoving() const { return compositor_.Facts().frames.size() > 1; }
  DrawResult DrawDirect(const DrawTarget& target);
  /// Has it drawn again after a failure.
  void Retry();
  void ReportDamage();
  void ReportStatistics() const;

  EngineHost& host_;
  std::unique_ptr<DirectPicture> direct_;  ///< null: the compositor has the picture
  AnimationCompositor compositor_;
  PicturePainter painter_;
  PictureTimes times_;
  std::string name_;
  const char* type_ = nullptr;  // null until there is a picture
  qx::plexion::Dims stage_ = {0, 0};
  bool pictureNew_ = false;
  bool damageTold_ = false;
  bool savesMemory_ = false;
  uint64_t framesLeftOut_ = 0;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_PICTURE_PICTUREENGINE_H_
