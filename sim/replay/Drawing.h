// A recording as a picture: threads as lanes on a time line.

#ifndef SIM_REPLAY_DRAWING_H_
#define SIM_REPLAY_DRAWING_H_

#include <string>

#include "kit/record/RecordingReader.h"

namespace plexion_sim {

/// A page that stands alone (SVG in HTML, no script, nothing from elsewhere).
/// Each thread has a lane with its calls, nested; below them the locks that it
/// holds and the waits for them. Frames, keys, errors and what the operator
/// said stand on a line above. What is smaller than a pixel is drawn once for
/// each pixel, so that the page's size has a limit whatever the recording's.
std::string DrawRecording(const plexion_record::Recording& recording);

}  // namespace plexion_sim

#endif  // SIM_REPLAY_DRAWING_H_
