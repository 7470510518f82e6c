// A recording as text for people.

#ifndef SIM_REPLAY_STORY_H_
#define SIM_REPLAY_STORY_H_

#include <string>

#include "kit/record/RecordingReader.h"

namespace plexion_sim {

/// "window#3.Resize", of a call whose first field is its object.
std::string CallName(const plexion_record::Record& record);

/// One record as a line, without its end: number, milliseconds since the
/// beginning, thread, call. `depth` calls of the thread are open around it.
std::string StoryLine(const plexion_record::Recording& recording,
                      const plexion_record::Record& record, unsigned depth);

/// The whole recording: what it is, its gaps and faults, and a line for each
/// record. Nothing of it reaches a terminal unescaped. Memory and locks make
/// three quarters of all calls and are left out unless `all`.
void WriteStory(const plexion_record::Recording& recording, bool all,
                void (*write)(const std::string& line));

/// Whether WriteStory leaves it out unless asked for all.
bool IsMinor(const plexion_record::Record& record);

}  // namespace plexion_sim

#endif  // SIM_REPLAY_STORY_H_
