// Values of the scene as expressions have them, and back.

#ifndef HOST_PLAYER_LOTTIE_SCENE_SCRIPTNUMBERS_H_
#define HOST_PLAYER_LOTTIE_SCENE_SCRIPTNUMBERS_H_

#include <algorithm>

#include "host/player/lottie/document/Model.h"
#include "host/player/lottie/script/ScriptScene.h"

namespace plexion_host::movie {

// What `value` held before is gone, but not its memory: one value serves for many properties.

inline void ToValue(const float* numbers, uint32_t dims, ScriptValue& value) {
  dims = std::min(dims, ScriptValue::kMostNumbers);
  value.kind = dims == 1 ? ScriptValue::Kind::kNumber : ScriptValue::Kind::kVector;
  value.numbers.assign(numbers, numbers + dims);
}

inline void ToValue(const Vertex* vertices, size_t count, bool closed, ScriptValue& value) {
  value.kind = ScriptValue::Kind::kPath;
  value.closed = closed;
  value.path.clear();
  for (size_t i = 0; i < count; ++i) {
    const Vertex& v = vertices[i];
    value.path.insert(value.path.end(), {v.x, v.y, v.inX, v.inY, v.outX, v.outY});
  }
}

inline void FromValue(const ScriptValue& value, Outline& outline) {
  outline.closed = value.closed;
  outline.vertices.clear();
  for (size_t i = 0; i + 5 < value.path.size(); i += 6) {
    const double* p = &value.path[i];
    outline.Add(p[0], p[1], p[2], p[3], p[4], p[5]);
  }
}

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCENE_SCRIPTNUMBERS_H_
