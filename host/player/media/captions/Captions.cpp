// Opens captions, takes those of a stream, and draws what is due.
#include "host/player/media/captions/Captions.h"

#include <utility>

#include "host/base/ReadFile.h"
#include "host/base/Text.h"

namespace plexion_host::player {

namespace {

/// A stream that is far ahead of the picture loses its oldest.
constexpr size_t kMostTaken = 1000;
constexpr size_t kLongestHead = 1 << 20;
/// For those that do not say how long they last.
constexpr int64_t kUsualMs = 4000;

std::string BytesOf(GstBuffer* buffer, size_t most) {
  std::string bytes(std::min<size_t>(gst_buffer_get_size(buffer), most), '\0');
  gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
  return bytes;
}

}  // namespace

void Captions::Tell(const std::string& what) {
  if (std::exchange(told_, true)) return;
  host_.Notify(qx::plexion::kInfoUnsupportedPlaceholderRendered,
               "captions" + (name_.empty() ? "" : " \"" + name_ + "\"") + ": " + what);
}

CaptionTrack* Captions::Track() {
  if (!track_) track_.emplace();
  if (track_->IsUsable()) return &*track_;
  Tell("they cannot be drawn: the library for them does not start");
  return nullptr;
}

void Captions::Open(const std::string& path) {
  wantStream_ = path.empty();
  if (wantStream_) return;
  name_ = path.substr(path.rfind('/') + 1);
  std::string text;
  std::string error;
  CaptionFile file;
  if (!ReadFile(path, kLargestCaptionFile, text, error) ||
      !ReadCaptions(std::move(text), file, error)) {
    Tell(error + "; it plays without");
    return;
  }
  CaptionTrack* const track = Track();
  if (track == nullptr) return;
  if (!file.script.empty() && !track->SetScript(std::move(file.script), error)) {
    Tell(error + "; it plays without");
    return;
  }
  for (const Cue& cue : file.cues) track->AddCue(cue);
  if (!file.complaint.empty()) Tell(file.complaint);
}

void Captions::Take(GstSamplePointer sample) {
  GstBuffer* const buffer = gst_sample_get_buffer(sample.get());
  GstCaps* const caps = gst_sample_get_caps(sample.get());
  if (buffer == nullptr || caps == nullptr || !GST_BUFFER_PTS_IS_VALID(buffer)) return;
  const GstStructure* const kind = gst_caps_get_structure(caps, 0);
  const GstClockTime begin = gst_segment_to_stream_time(gst_sample_get_segment(sample.get()),
                                                        GST_FORMAT_TIME, GST_BUFFER_PTS(buffer));
  if (!GST_CLOCK_TIME_IS_VALID(begin)) return;
  StreamCue cue;
  cue.beginMs = static_cast<int64_t>(begin / GST_MSECOND);
  cue.endMs = cue.beginMs + (GST_BUFFER_DURATION_IS_VALID(buffer)
                                 ? static_cast<int64_t>(GST_BUFFER_DURATION(buffer) / GST_MSECOND)
                                 : kUsualMs);
  cue.script = gst_structure_has_name(kind, "text/x-raw") == FALSE;
  cue.text = BytesOf(buffer, kLongestCue);
  // Empty ones end the one before in some files; that has an end of its own here.
  if (cue.text.find_first_not_of(" \t\r\n") == std::string::npos) return;
  const GValue* const head = gst_structure_get_value(kind, "codec_data");
  if (cue.script && head != nullptr && GST_VALUE_HOLDS_BUFFER(head)) {
    cue.head = BytesOf(gst_value_get_buffer(head), kLongestHead);
  }
  const bool marked = g_strcmp0(gst_structure_get_string(kind, "format"), "pango-markup") == 0;
  if (!cue.script) cue.text = AsEventText(cue.text, marked);
  const MutexLock lock(mutex_);
  if (taken_.size() >= kMostTaken) taken_.pop_front();
  taken_.push_back(std::move(cue));
}

void Captions::ForgetStream() {
  const MutexLock lock(mutex_);
  taken_.clear();
  forget_ = wantStream_;
}

void Captions::AddTaken() {
  std::deque<StreamCue> taken;
  bool forget = false;
  {
    const MutexLock lock(mutex_);
    std::swap(taken, taken_);
    forget = std::exchange(forget_, false);
  }
  if (forget && track_) track_->Forget();
  if (taken.empty()) return;
  CaptionTrack* const track = Track();
  if (track == nullptr) return;
  for (StreamCue& cue : taken) {
    if (!cue.script) {
      track->AddCue({cue.beginMs, cue.endMs, std::move(cue.text), 2});
      continue;
    }
    if (cue.head != head_) {
      track->SetScriptHead(cue.head);
      head_ = cue.head;
    }
    track->AddEvent(std::move(cue.text), cue.beginMs, cue.endMs);
  }
}

void Captions::Draw(const DrawTarget& target, const StageFit& place, const qx::plexion::Rect& seen,
                    const qx::plexion::Dims& video, int64_t timeMs) {
  AddTaken();
  if (!track_ || !track_->IsUsable()) return;
  track_->Draw(target, place, seen, video, timeMs);
  if (track_->HasGivenUp()) Tell("they take too long to draw; they are left out from now on");
}

}  // namespace plexion_host::player
