// How many threads a decoder gets.

#ifndef HOST_PLAYER_MEDIA_PIPELINE_DECODERTHREADS_H_
#define HOST_PLAYER_MEDIA_PIPELINE_DECODERTHREADS_H_

#include <gst/gst.h>

namespace plexion_host::player {

/// Has `decoder` work on one thread when its video is small enough for that: each further thread
/// keeps frames of its own and lets the first picture come later. Decoders that have no such
/// setting are left alone. `speed`: 1 is the pace of the video itself.
void ChooseDecoderThreads(GstElement* decoder, double speed);

/// How many threads for encoded video of this description; 0: as many as the decoder likes.
int DecoderThreads(const GstCaps* caps, double speed);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_PIPELINE_DECODERTHREADS_H_
