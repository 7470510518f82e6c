// The engine for video, sound and pictures.

#ifndef HOST_PLAYER_MEDIA_MEDIAENGINE_H_
#define HOST_PLAYER_MEDIA_MEDIAENGINE_H_

#include <memory>
#include <string>
#include <vector>

#include "host/player/Engine.h"
#include "host/player/MediaOptions.h"
#include "host/player/media/net/HttpAccess.h"
#include "host/player/media/pipeline/MediaFaults.h"
#include "host/player/media/pipeline/MediaPipeline.h"
#include "host/player/media/pixels/FramePainter.h"
#include "host/player/media/sound/LevelPicture.h"
#include "host/player/picture/PictureEngine.h"

namespace plexion_host::player {

/// Plays what the media framework decodes: video, sound, pictures, animated pictures.
///
/// Load brings the pipeline to its first frame and then knows what it has. Video paces itself by
/// the framework's clock: each frame is requested from the player when it is due. A still picture
/// is content of one frame that lasts for `duration`; nothing of the framework runs while it is
/// shown. Sound alone is a level picture, drawn 25 times a second. Pictures that the player decodes
/// itself come here when they lie on a server: once they are known, a picture engine has them.
class MediaEngine final : public Engine {
 public:
  explicit MediaEngine(EngineHost& host);
  ~MediaEngine() override;

  bool Load(const ContentAddress& content, ContentFacts& facts, EngineError& error) override;
  void SetPlaying(bool playing) override;
  void OnProxy(const ProxySettings& proxy) override;
  void SetVolume(double factor) override;
  bool Seek(double seconds, bool relative, std::string& fault) override;
  StepResult Advance(const FrameStep& step) override;
  DrawResult Draw(const DrawTarget& target) override;
  void SaveMemory() override;

 private:
  enum class Kind { kNone, kMoving, kStill, kSound };
  enum class Wait { kReady, kEnded, kFailed };

  // Loading; MediaLoad.cpp.
  bool ReadSettings(const ContentAddress& content, EngineError& error);
  bool OpenPipeline(EngineError& error);
  Wait WaitForPreroll(EngineError& error);
  bool WaitForLiveFrame(EngineError& error);
  bool OpenLive(EngineError& error);
  bool FindKind(EngineError& error);
  bool Describe(ContentFacts& facts, EngineError& error);
  void DescribeStill(ContentFacts& facts);
  void ReportStage();
  void ExplainUnknown(EngineError& error) const;

  // Pictures of our own decoders; MediaPictures.cpp.
  bool ReadHead(std::vector<uint8_t>& head) const;
  PictureFormat FormatOfRemote() const;
  bool LoadPicture(ContentFacts& facts, EngineError& error);

  // Playing; MediaEngine.cpp.
  void TakeMessages();
  EngineError FaultOf(GstMessage* message);
  void OnBuffering(GstMessage* message);
  void OnEndOfPass();
  bool Restart();
  void ApplyState();
  bool TakeFrames();
  bool UpdateLevels();
  void CountLateness();
  void ReportStatistics() const;

  EngineHost& host_;
  HttpAccess access_;
  MediaFaults faults_;
  MediaOptions options_;
  ContentAddress content_;
  MediaPipeline::Request request_;
  std::unique_ptr<Captions> captions_;  // the pipeline hands them over: goes after it
  std::unique_ptr<MediaPipeline> pipeline_;
  std::unique_ptr<PictureEngine> picture_;  // then nothing else is at work
  FramePainter painter_;
  LevelPicture levels_;

  Kind kind_ = Kind::kNone;
  std::string contentType_;
  bool live_ = false;
  bool playing_ = false;
  bool buffering_ = false;
  bool filled_ = false;   // in this pass there was once enough in advance
  bool stalled_ = false;  // and then no longer
  bool endOfPass_ = false;
  bool ended_ = false;
  bool failed_ = false;
  bool reopen_ = false;   // the proxy has changed: the next pass makes a new connection
  bool opening_ = false;  // anew, for the next pass
  bool seekWhenOpen_ = false;
  bool sought_ = false;  // and the picture of the new moment has not come yet
  bool pictureNew_ = false;
  uint64_t passes_ = 0;
  uint64_t framesTaken_ = 0;
  uint64_t framesLate_ = 0;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_MEDIAENGINE_H_
