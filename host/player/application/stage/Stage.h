// All elements of an application.
#ifndef HOST_PLAYER_APPLICATION_STAGE_STAGE_H_
#define HOST_PLAYER_APPLICATION_STAGE_STAGE_H_

#include <stdint.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/player/application/stage/DataSource.h"
#include "host/player/application/stage/Element.h"
#include "host/player/application/stage/Properties.h"

namespace plexion_host::player::application {

constexpr size_t kMostElements = 10000;
/// Of all texts of all elements together: they are no part of the script's heap, and what is laid
/// out takes a hundred times as much.
constexpr size_t kMostTextBytes = size_t{4} * 1024 * 1024;
constexpr size_t kLongestId = 1000;

enum class TransitionKind { kCut, kFade, kSlide };

/// One scene gives way to another.
struct Transition {
  TransitionKind kind = TransitionKind::kCut;
  double duration = 0;  ///< seconds
  int directionX = -1;  ///< where a slide moves to
  int directionY = 0;
  int easing = 0;  ///< see Easing.h
};

/// All that there is to see: a backdrop, scenes of which one is shown (two during a transition),
/// and an overlay. Owns every element. Plain data: no drawing, no files, no time but what it is
/// told.
class Stage {
 public:
  Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  uint32_t width = 1280;
  uint32_t height = 720;
  double framesPerSecond = 30;
  Colour background;
  /// The scene to be shown when the application cannot start; empty: none.
  std::string fallback;
  /// Whose time clocks show; empty: the device's.
  std::string timezone;
  /// What it may take from the network.
  std::vector<DataSource> sources;

  Element& Backdrop() { return *backdrop_; }
  Element& Overlay() { return *overlay_; }
  const Element& Backdrop() const { return *backdrop_; }
  const Element& Overlay() const { return *overlay_; }
  const std::vector<std::unique_ptr<Element>>& Scenes() const { return scenes_; }

  // Building. Null with `error` when there are too many elements or the nesting is too deep.
  Element* AddScene(const std::string& id, std::string& error);
  Element* Create(ElementKind kind, Element& parent, std::string& error);
  /// A copy of an element and all below it, as the last child of `parent`.
  Element* Clone(const Element& original, Element& parent, std::string& error);
  /// Removes an element and all below it. Scenes, backdrop and overlay cannot be removed.
  bool Remove(Element& element);
  /// False with `error` when the id is taken or too long; an empty id names nothing.
  bool SetId(Element& element, const std::string& id, std::string& error);
  /// The same for an element inside of a part: FindBelow finds it there, FindById does not, and other
  /// parts may have the same.
  bool SetLocalId(Element& element, const std::string& id, std::string& error);

  Element* FindById(const std::string& id) const;
  Element* FindByHandle(uint32_t handle) const;
  /// Below `root`, in document order; also finds clones, whose ids are not the stage's. What parts
  /// below it hold is theirs and is not found.
  static Element* FindBelow(const Element& root, const std::string& id);

  /// Calls `visit` with every element of backdrop, scenes and overlay, parents first.
  template <typename Visit>
  void ForEach(const Visit& visit) {
    ForEachBelow<Element>(*this, visit);
  }
  template <typename Visit>
  void ForEach(const Visit& visit) const {
    ForEachBelow<const Element>(*this, visit);
  }
  /// Gives an element what another version of it was set to (`last`) since its document was read
  /// (`then`), where this one's document says the same.
  void TakeOver(Element& element, const Element& then, const Element& last);

  // Scenes.
  Element* CurrentScene() const { return current_; }
  Element* LeavingScene() const { return leaving_; }
  Element* FindScene(const std::string& id) const;
  void Show(Element& scene, const Transition& transition, double now);
  /// Moves a transition on. Returns true while one is under way.
  bool AdvanceTransition(double now);
  const Transition& CurrentTransition() const { return transition_; }
  double TransitionProgress() const { return progress_; }

  /// Sets a property from its text and marks what changes. False with `error` when the text is none
  /// of this property's, or all texts together would be too long; the element is then unchanged.
  bool SetFromText(Element& element, const Property& property, std::string_view value,
                   std::string& error);
  /// A text in several styles; spans lie in it. Returns  false with `error`; the element is then
  /// unchanged.
  bool SetSpans(Element& element, std::string_view text, std::vector<TextSpan> spans,
                std::string& error);
  /// The points of a figure; they count as its text does.
  bool SetPoints(Element& element, const Property& property, std::vector<double> points,
                 std::string& error);
  /// To be called after a property has been set otherwise.
  void Touch(Element& element, const Property& property);
  void TouchPicture(Element& element);
  /// All elements look as before, and yet it is to be drawn again.
  void TouchDrawing() { ++revision_; }
  /// Changes whenever anything that may be seen does.
  uint64_t Revision() const { return revision_; }
  /// Elements whose `src` has changed and is to be loaded; empties the list.
  std::vector<uint32_t> TakeStale();
  size_t ElementCount() const { return byHandle_.size(); }

 private:
  template <typename E, typename S, typename Visit>
  static void ForEachBelow(S& stage, const Visit& visit) {
    std::vector<E*> roots = {stage.backdrop_.get()};
    for (const auto& scene : stage.scenes_) roots.push_back(scene.get());
    roots.push_back(stage.overlay_.get());
    for (E* root : roots) VisitAll(*root, visit);
  }
  template <typename E, typename Visit>
  static void VisitAll(E& element, const Visit& visit) {
    visit(element);
    for (const auto& child : element.children) VisitAll(static_cast<E&>(*child), visit);
  }

  bool IsIdOfLength(const std::string& id, std::string& error) const;
  std::unique_ptr<Element> Make(ElementKind kind, std::string& error);
  void Forget(Element& element);
  void ClearSpans(Element& element);
  bool HasRoomFor(size_t bytes, std::string& error) const;

  std::unique_ptr<Element> backdrop_;
  std::unique_ptr<Element> overlay_;
  std::vector<std::unique_ptr<Element>> scenes_;
  std::unordered_map<uint32_t, Element*> byHandle_;
  std::unordered_map<std::string, Element*> byId_;
  std::vector<uint32_t> stale_;
  size_t textBytes_ = 0;
  uint32_t nextHandle_ = 1;
  uint64_t revision_ = 1;

  Element* current_ = nullptr;
  Element* leaving_ = nullptr;
  Transition transition_;
  double transitionBegan_ = 0;
  double progress_ = 1;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_STAGE_STAGE_H_
