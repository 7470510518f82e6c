// The tree of elements, within its limits, and the scenes that give way to each other.
#include "host/player/application/stage/Stage.h"

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/player/application/stage/Easing.h"

namespace plexion_host::player::application {

namespace {

/// Of the limit on texts; a span's font is part of it.
constexpr size_t kSpanBytes = 200;

unsigned DepthOf(const Element& element) {
  unsigned depth = 1;
  for (const Element* at = element.parent; at != nullptr; at = at->parent) ++depth;
  return depth;
}

unsigned HeightOf(const Element& element) {
  unsigned height = 0;
  for (const auto& child : element.children) height = std::max(height, HeightOf(*child));
  return height + 1;
}

bool HasSource(ElementKind kind) {
  return kind == ElementKind::kImage || kind == ElementKind::kMovie || kind == ElementKind::kMedia;
}

size_t TextBytesOf(const Element& element) {
  size_t bytes = element.id.size();
  for (const Property* property = kProperties; property->name != nullptr; ++property) {
    if (property->text != nullptr) bytes += (element.*property->text).size();
  }
  return bytes + element.spans.size() * kSpanBytes + element.points.size() * sizeof(double);
}

bool HasSame(const Property& property, const Element& a, const Element& b) {
  if (property.number != nullptr) return a.*property.number == b.*property.number;
  if (property.flag != nullptr) return a.*property.flag == b.*property.flag;
  if (property.text != nullptr) return a.*property.text == b.*property.text;
  if (property.colour != nullptr) return a.*property.colour == b.*property.colour;
  if (property.points != nullptr) return a.*property.points == b.*property.points;
  return a.*property.choice == b.*property.choice;
}

// What a clone has of its original. Its handle, place in the tree and players are its own.
void CopyLook(const Element& from, Element& to) {
  to.id = from.id;
  to.isPart = from.isPart;
  to.spans = from.spans;
  for (const Property* property = kProperties; property->name != nullptr; ++property) {
    if (property->number != nullptr) to.*property->number = from.*property->number;
    if (property->flag != nullptr) to.*property->flag = from.*property->flag;
    if (property->text != nullptr) to.*property->text = from.*property->text;
    if (property->colour != nullptr) to.*property->colour = from.*property->colour;
    if (property->choice != nullptr) to.*property->choice = from.*property->choice;
    if (property->points != nullptr) to.*property->points = from.*property->points;
  }
}

}  // namespace

Stage::Stage() {
  std::string error;
  // Both are always there, so a script can put something in them without asking.
  backdrop_ = Make(ElementKind::kGroup, error);
  overlay_ = Make(ElementKind::kGroup, error);
}

std::unique_ptr<Element> Stage::Make(ElementKind kind, std::string& error) {
  if (byHandle_.size() >= kMostElements) {
    error = "there are " + std::to_string(kMostElements) + " elements already, which is the limit";
    return nullptr;
  }
  auto element = std::make_unique<Element>();
  element->kind = kind;
  // Never given twice, so a script that kept the handle of a removed element cannot get another
  // one.
  element->handle = nextHandle_++;
  byHandle_[element->handle] = element.get();
  textBytes_ += TextBytesOf(*element);
  ++revision_;
  return element;
}

bool Stage::HasRoomFor(size_t bytes, std::string& error) const {
  if (textBytes_ + bytes <= kMostTextBytes) return true;
  error = "the texts of all elements would have more than the " + std::to_string(kMostTextBytes) +
          " bytes that are allowed";
  return false;
}

Element* Stage::AddScene(const std::string& id, std::string& error) {
  std::unique_ptr<Element> scene = Make(ElementKind::kGroup, error);
  if (scene == nullptr) return nullptr;
  if (!SetId(*scene, id, error)) {
    Forget(*scene);
    return nullptr;
  }
  scenes_.push_back(std::move(scene));
  if (current_ == nullptr) current_ = scenes_.back().get();
  return scenes_.back().get();
}

Element* Stage::Create(ElementKind kind, Element& parent, std::string& error) {
  PLEXION_CHECK(FindByHandle(parent.handle) == &parent, "the parent is on this stage");
  if (parent.kind != ElementKind::kGroup) {
    error = std::string("a ") + NameOf(parent.kind) + " holds no elements; expected a group";
    return nullptr;
  }
  if (DepthOf(parent) >= kDeepestNesting) {
    error = "nested deeper than " + std::to_string(kDeepestNesting) + " levels";
    return nullptr;
  }
  std::unique_ptr<Element> element = Make(kind, error);
  if (element == nullptr) return nullptr;
  element->parent = &parent;
  parent.children.push_back(std::move(element));
  return parent.children.back().get();
}

Element* Stage::Clone(const Element& original, Element& parent, std::string& error) {
  // Checked for the whole of it first, so that it is copied wholly or not at all.
  if (DepthOf(parent) + HeightOf(original) > kDeepestNesting) {
    error = "nested deeper than " + std::to_string(kDeepestNesting) + " levels";
    return nullptr;
  }
  // What is there now: a copy that is put into its own original would else copy itself.
  std::vector<const Element*> children;
  for (const auto& child : original.children) children.push_back(child.get());
  if (!HasRoomFor(TextBytesOf(original), error)) return nullptr;
  Element* copy = Create(original.kind, parent, error);
  if (copy == nullptr) return nullptr;
  textBytes_ -= TextBytesOf(*copy);
  CopyLook(original, *copy);
  textBytes_ += TextBytesOf(*copy);
  // Pictures and players are not shared by way of the element: it loads its own.
  if (!copy->src.empty()) Touch(*copy, *FindProperty(copy->kind, "src"));
  // Half of a copy would be worse than none.
  for (const Element* child : children) {
    if (Clone(*child, *copy, error) != nullptr) continue;
    Remove(*copy);
    return nullptr;
  }
  return copy;
}

void Stage::Forget(Element& element) {
  for (const auto& child : element.children) Forget(*child);
  byHandle_.erase(element.handle);
  PLEXION_CHECK(textBytes_ >= TextBytesOf(element), "every text was counted when it was set");
  textBytes_ -= TextBytesOf(element);
  // A clone has the id of its original, which stays findable.
  const auto found = byId_.find(element.id);
  if (found != byId_.end() && found->second == &element) byId_.erase(found);
}

bool Stage::Remove(Element& element) {
  if (element.parent == nullptr) return false;
  Forget(element);
  auto& siblings = element.parent->children;
  const auto found = std::find_if(siblings.begin(), siblings.end(),
                                  [&element](const auto& each) { return each.get() == &element; });
  PLEXION_CHECK(found != siblings.end(), "an element is among its parent's children");
  siblings.erase(found);
  ++revision_;
  return true;
}

bool Stage::IsIdOfLength(const std::string& id, std::string& error) const {
  if (id.size() <= kLongestId) return HasRoomFor(id.size(), error);
  error = "the id has " + std::to_string(id.size()) + " bytes; expected at most " +
          std::to_string(kLongestId);
  return false;
}

bool Stage::SetLocalId(Element& element, const std::string& id, std::string& error) {
  PLEXION_CHECK(element.id.empty(), "it is named once, while its part is read");
  if (!IsIdOfLength(id, error)) return false;
  textBytes_ += id.size();
  element.id = id;
  return true;
}

bool Stage::SetId(Element& element, const std::string& id, std::string& error) {
  if (id == element.id && FindById(id) == &element) return true;
  if (!IsIdOfLength(id, error)) return false;
  if (!id.empty() && !byId_.emplace(id, &element).second) {
    error = "id \"" + id + "\" is taken; expected one of its own";
    return false;
  }
  const auto old = byId_.find(element.id);
  if (old != byId_.end() && old->second == &element && element.id != id) byId_.erase(old);
  textBytes_ += id.size() - element.id.size();
  element.id = id;
  return true;
}

bool Stage::SetFromText(Element& element, const Property& property, std::string_view value,
                        std::string& error) {
  PLEXION_CHECK(FindProperty(element.kind, property.name) == &property,
                "the property is one of this kind of element");
  if (property.points != nullptr) {
    std::vector<double> points;
    if (ReadPoints(value, points)) return SetPoints(element, property, std::move(points), error);
  }
  const size_t before = property.text == nullptr ? 0 : (element.*property.text).size();
  if (property.text != nullptr) {
    if (element.*property.text == value) return true;
    if (value.size() > before && !HasRoomFor(value.size() - before, error)) return false;
  }
  Element old;
  if (property.colour != nullptr) old.*property.colour = element.*property.colour;
  if (property.choice != nullptr) old.*property.choice = element.*property.choice;
  if (!application::SetFromText(element, property, value, error)) return false;
  if (property.text != nullptr) textBytes_ += value.size() - before;
  // The styles are those of the words that were there.
  if (property.text == &Element::text) ClearSpans(element);
  const bool same =
      (property.colour != nullptr && old.*property.colour == element.*property.colour) ||
      (property.choice != nullptr && old.*property.choice == element.*property.choice);
  if (!same) Touch(element, property);
  return true;
}

bool Stage::SetPoints(Element& element, const Property& property, std::vector<double> points,
                      std::string& error) {
  const std::vector<double>& old = element.*property.points;
  if (old == points) return true;
  const size_t bytes = points.size() * sizeof(double);
  const size_t before = old.size() * sizeof(double);
  if (bytes > before && !HasRoomFor(bytes - before, error)) return false;
  if (!application::SetPoints(element, property, std::move(points), error)) return false;
  textBytes_ += bytes - before;
  Touch(element, property);
  return true;
}

void Stage::ClearSpans(Element& element) {
  PLEXION_CHECK(textBytes_ >= element.spans.size() * kSpanBytes,
                "every span was counted when it was set");
  textBytes_ -= element.spans.size() * kSpanBytes;
  element.spans.clear();
}

bool Stage::SetSpans(Element& element, std::string_view text, std::vector<TextSpan> spans,
                     std::string& error) {
  if (spans.size() > kMostSpans) {
    error = "there are " + std::to_string(spans.size()) + " spans; expected at most " +
            std::to_string(kMostSpans);
    return false;
  }
  for (const TextSpan& span : spans) {
    PLEXION_CHECK(span.begin <= span.end && span.end <= text.size(), "spans lie in their text");
  }
  if (!HasRoomFor(spans.size() * kSpanBytes, error)) return false;
  const Property& property = *FindProperty(ElementKind::kText, "text");
  if (!SetFromText(element, property, text, error)) return false;
  ClearSpans(element);
  textBytes_ += spans.size() * kSpanBytes;
  element.spans = std::move(spans);
  Touch(element, property);
  return true;
}

void Stage::TakeOver(Element& element, const Element& then, const Element& last) {
  std::string ignored;
  for (const Property* each = kProperties; each->name != nullptr; ++each) {
    if (FindProperty(element.kind, each->name) != each) continue;
    if (HasSame(*each, then, last) || !HasSame(*each, element, then)) continue;
    if (each->text == &Element::text && !last.spans.empty()) {
      SetSpans(element, last.text, last.spans, ignored);
    } else if (each->text != nullptr) {
      SetFromText(element, *each, last.*each->text, ignored);
    } else if (each->points != nullptr) {
      SetPoints(element, *each, last.*each->points, ignored);
    } else {
      if (each->number != nullptr) element.*each->number = last.*each->number;
      if (each->flag != nullptr) element.*each->flag = last.*each->flag;
      if (each->colour != nullptr) element.*each->colour = last.*each->colour;
      if (each->choice != nullptr) element.*each->choice = last.*each->choice;
      Touch(element, *each);
    }
  }
}

Element* Stage::FindById(const std::string& id) const {
  const auto found = byId_.find(id);
  return found == byId_.end() ? nullptr : found->second;
}

Element* Stage::FindByHandle(uint32_t handle) const {
  const auto found = byHandle_.find(handle);
  return found == byHandle_.end() ? nullptr : found->second;
}

Element* Stage::FindBelow(const Element& root, const std::string& id) {
  for (const auto& child : root.children) {
    if (child->id == id) return child.get();
    if (child->isPart) continue;
    if (Element* found = FindBelow(*child, id)) return found;
  }
  return nullptr;
}

Element* Stage::FindScene(const std::string& id) const {
  for (const auto& scene : scenes_) {
    if (scene->id == id) return scene.get();
  }
  return nullptr;
}

void Stage::Show(Element& scene, const Transition& transition, double now) {
  PLEXION_CHECK(scene.parent == nullptr, "only scenes are shown");
  if (&scene == current_) return;
  leaving_ =
      transition.kind == TransitionKind::kCut || transition.duration <= 0 ? nullptr : current_;
  current_ = &scene;
  transition_ = transition;
  transitionBegan_ = now;
  progress_ = leaving_ == nullptr ? 1 : 0;
  ++revision_;
}

bool Stage::AdvanceTransition(double now) {
  if (leaving_ == nullptr) return false;
  // Every step of a transition is another picture, whether or not an element has changed.
  const double fraction = (now - transitionBegan_) / transition_.duration;
  ++revision_;
  if (fraction >= 1) {
    leaving_ = nullptr;
    progress_ = 1;
    return false;
  }
  progress_ = Ease(transition_.easing, std::max(fraction, 0.0));
  return true;
}

void Stage::Touch(Element& element, const Property& property) {
  // What only moves is found by its matrix; its own picture is not laid out or decoded again.
  if (property.place) {
    ++element.moves;
  } else {
    ++element.revision;
  }
  ++revision_;
  // Loaded later, once, however often a script changes it before that.
  const bool isSource = property.text == &Element::src || property.text == &Element::vars;
  if (isSource && HasSource(element.kind) && !element.resourceStale) {
    element.resourceStale = true;
    stale_.push_back(element.handle);
  }
}

void Stage::TouchPicture(Element& element) {
  ++element.revision;
  ++revision_;
}

std::vector<uint32_t> Stage::TakeStale() { return std::exchange(stale_, {}); }

}  // namespace plexion_host::player::application
