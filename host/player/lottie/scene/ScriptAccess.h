#ifndef HOST_PLAYER_LOTTIE_SCENE_SCRIPTACCESS_H_
#define HOST_PLAYER_LOTTIE_SCENE_SCRIPTACCESS_H_

#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/player/lottie/scene/KeptResults.h"
#include "host/player/lottie/scene/Scene.h"
#include "host/player/lottie/script/Expressions.h"

namespace plexion_host::movie {

/// What expressions see of a scene, and the properties' way to them.
class ScriptAccess final : public IScriptScene, public PropertyScripts {
 public:
  ScriptAccess(const Movie& movie, qx::plexion::MemoryWatchdog* watchdog);

  /// The scene whose properties are evaluated; borrowed.
  void SetScene(Scene& scene) { scene_ = &scene; }
  void BeginFrame() {
    expressions_.BeginFrame();
    kept_.BeginFrame();
  }
  /// What is kept of results and trees; the script engine counts its memory itself.
  size_t Bytes() const { return kept_.Bytes() + expressions_.TreeBytes(); }
  /// Tells of expressions that have failed since the last call.
  void TellFailures(const std::function<void(const std::string&)>& tell);

  uint64_t OutsideReads() const override { return outside_; }
  bool Run(const Property& property, const void* owner, double time, float* values,
           Constancy& constancy) override;
  bool RunPath(const PathProperty& property, const void* owner, double time, Outline& outline,
               Constancy& constancy) override;
  bool RunText(const JsonValue& source, const void* owner, double time, std::string& text,
               Constancy& constancy) override;
  bool RunSelector(std::string_view expression, const void* owner, double time, int index,
                   int total, double percent[3], Constancy& constancy) override;

  SceneNode CompositionNamed(std::string_view name) override;
  SceneNode CompositionOf(const SceneNode& layer) override;
  SceneNode SourceOf(const SceneNode& layer) override;
  SceneNode ParentOf(const SceneNode& layer) override;
  CompositionFacts FactsOfComposition(const SceneNode& composition) override;
  LayerFacts FactsOfLayer(const SceneNode& layer) override;
  NodeNames NamesOf(const SceneNode& node) override;
  int CountOf(const SceneNode& list) override;
  SceneNode ItemOf(const SceneNode& list, int position) override;
  SceneNode PartOf(const SceneNode& node, std::string_view part) override;
  SceneNode GroupOf(const SceneNode& node) override;
  double NowOf(const SceneNode& node) override;
  bool ValueAt(const SceneNode& property, double seconds, bool scripted,
               ScriptValue& value) override;
  int KeyCount(const SceneNode& property) override;
  double KeyTime(const SceneNode& property, int key) override;
  void KeyValue(const SceneNode& property, int key, ScriptValue& value) override;
  Matrix MatrixOf(const SceneNode& layer, double seconds) override;
  bool SourceRectOf(const SceneNode& layer, double seconds, double box[4], double& cost) override;
  int MarkerCount(const SceneNode& composition) override;
  ScriptMarker MarkerAt(const SceneNode& composition, int position) override;

 private:
  /// What the expression that is evaluated has read so far.
  struct Reading {
    const CompositionUse* composition = nullptr;  ///< whose frames `holds` counts
    double time = 0;
    Constancy holds;
    bool otherTime = false;  ///< the time of another composition was looked at
  };
  /// What has to stay as it is while an expression is evaluated, for its result to be kept.
  struct Context {
    uint64_t outside;
    uint64_t cuts;
    bool operator==(const Context& other) const {
      return outside == other.outside && cuts == other.cuts;
    }
  };

  int Compiled(std::string_view source, const void* owner);
  bool Evaluate(int expression, const void* owner, double time, const ExpressionSite& site,
                const ScriptValue& keyed, ScriptValue& result, Constancy& constancy);
  Context ContextNow() const { return {outside_, cuts_ + expressions_.Cuts()}; }
  static KeptResults::Key KeyOf(const void* property, const void* owner, double time);
  /// Remembers how long something holds that was read, in frames of its layer's composition.
  void NoteRead(const LayerUse* layer, const Constancy& holds);
  /// Remembers why an expression of a layer is not used, to be told.
  void Note(const void* owner, const std::string& why);
  ExpressionSite SiteOf(const SceneNode& property, const LayerUse* owner, double time) const;
  SceneNode PartOfLayer(const LayerUse& use, std::string_view part) const;

  const Movie& movie_;
  Expressions expressions_;
  Scene* scene_ = nullptr;
  Reading* reading_ = nullptr;  ///< of the innermost expression
  KeptResults kept_;
  uint64_t outside_ = 0;  ///< see OutsideReads
  uint64_t cuts_ = 0;     ///< readings that gave something else because of who asked
  std::unordered_map<const char*, int> compiled_;  ///< by where the source lies
  std::vector<std::string> failures_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_SCENE_SCRIPTACCESS_H_
