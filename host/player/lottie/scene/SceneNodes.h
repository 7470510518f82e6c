// What a node of the scene points to, as expressions hold it.

#ifndef HOST_PLAYER_LOTTIE_SCENE_SCENENODES_H_
#define HOST_PLAYER_LOTTIE_SCENE_SCENENODES_H_

#include <cstdint>

#include "host/player/lottie/document/Model.h"
#include "host/player/lottie/scene/Scene.h"
#include "host/player/lottie/script/ScriptScene.h"

namespace plexion_host::movie {

// A node's pointer says what it is by its kind, but for those that share one: a path among
// properties and a value among effects are marked by an odd address, a text among properties by the
// bit above. All of these are made by the document's arena, which aligns to 8: the two lowest bits are free.
// So a node stays three words that are compared and copied as such, and an expression that walks over
// thousands of them allocates nothing.

template <typename T>
const void* Odd(const T* pointer) {
  return reinterpret_cast<const char*>(pointer) + 1;
}
inline bool IsOdd(const void* pointer) { return (reinterpret_cast<uintptr_t>(pointer) & 1) != 0; }
template <typename T>
const T* FromOdd(const void* pointer) {
  return reinterpret_cast<const T*>(static_cast<const char*>(pointer) - 1);
}
inline SceneNode TextNode(const JsonValue* source, const void* owner) {
  if (source == nullptr) return {};
  return {NodeKind::kProperty, reinterpret_cast<const char*>(source) + 2, owner};
}
/// Null when it is no text.
inline const JsonValue* TextAt(const SceneNode& node) {
  if (node.kind != NodeKind::kProperty || (reinterpret_cast<uintptr_t>(node.what) & 2) == 0) {
    return nullptr;
  }
  return reinterpret_cast<const JsonValue*>(static_cast<const char*>(node.what) - 2);
}

template <typename T>
const T& As(const SceneNode& node) {
  return *static_cast<const T*>(node.what);
}

inline const LayerUse& UseOf(const SceneNode& node) {
  return *static_cast<const LayerUse*>(node.kind == NodeKind::kLayer ? node.what : node.where);
}

inline SceneNode LayerNode(const LayerUse* use) {
  return use != nullptr ? SceneNode{NodeKind::kLayer, use, nullptr} : SceneNode();
}
inline SceneNode PropertyNode(const Property* property, const void* owner) {
  return property != nullptr ? SceneNode{NodeKind::kProperty, property, owner} : SceneNode();
}
inline SceneNode PathNode(const PathProperty* property, const void* owner) {
  return property != nullptr ? SceneNode{NodeKind::kProperty, Odd(property), owner} : SceneNode();
}

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCENE_SCENENODES_H_
