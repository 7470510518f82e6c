// The objects of a movie as expressions meet them: compositions, layers, groups, properties.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/base/Check.h"
#include "host/player/lottie/script/Arithmetic.h"
#include "host/player/lottie/script/Lookup.h"
#include "host/player/lottie/script/Machine.h"
#include "host/player/lottie/script/Surroundings.h"
#include "host/player/lottie/script/Words.h"

namespace plexion_host::movie {

namespace {

constexpr unsigned kMostNodes = 20000;

/// One prototype for each kind of node, in the stash, by this name.
const char* PrototypeOf(NodeKind kind) {
  switch (kind) {
    case NodeKind::kComposition:
      return "composition";
    case NodeKind::kLayer:
      return "layer";
    case NodeKind::kTransform:
      return "transform";
    case NodeKind::kShape:
      return "shape";
    case NodeKind::kEffect:
      return "effect";
    case NodeKind::kMask:
      return "mask";
    case NodeKind::kText:
      return "text";
    default:
      return "list";
  }
}

void PushText(duk_context* context, std::string_view text) {
  duk_push_lstring(context, text.data() == nullptr ? "" : text.data(), text.size());
}

std::string_view TextAt(duk_context* context, duk_idx_t index) {
  duk_size_t bytes = 0;
  const char* text = duk_get_lstring(context, index, &bytes);
  return text == nullptr ? std::string_view() : std::string_view(text, bytes);
}

void PushFound(duk_context* context, const SceneNode& node) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const SceneNode meant = NodeMeant(machine, node);
  if (meant.kind == NodeKind::kProperty) {
    machine.PushProperty(context, meant, machine.ReadingTimeOf(meant), true);
  } else {
    machine.PushNode(context, meant);
  }
}

/// Returns  false, with nothing pushed, when nothing was found.
bool PushFound(duk_context* context, const FoundPart& found) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  switch (found.kind) {
    case FoundPart::Kind::kNothing:
      return false;
    case FoundPart::Kind::kNode:
      PushFound(context, found.node);
      return true;
    case FoundPart::Kind::kComponent:
      duk_push_number(context, ComponentNumber(machine, found));
      return true;
    case FoundPart::Kind::kSplit:
      break;
  }
  duk_push_array(context);
  for (duk_uarridx_t i = 0; i < 3; ++i) {
    double number = 0;
    if (!SplitNumber(machine, found.node, static_cast<int>(i), number) && i == 2) break;
    duk_push_number(context, number);
    duk_put_prop_index(context, -2, i);
  }
  return true;
}

/// Returns  false, with nothing pushed, when the node has no such part.
bool PushPart(duk_context* context, const SceneNode& node, std::string_view part) {
  return PushFound(context, FindPart(ScriptMachine::Of(context).Scene(), node, part));
}

/// node("Name"), node(number)
duk_ret_t CallNode(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 4);
  duk_push_current_function(context);
  const SceneNode node = ScriptMachine::NodeAt(context, -1);
  duk_pop(context);
  if (duk_is_object(context, 0) != 0) duk_to_primitive(context, 0, DUK_HINT_NONE);
  const bool numbered = duk_is_number(context, 0) != 0;
  const int number = NumberOfItem(numbered ? duk_get_number(context, 0) : 0);
  if (numbered && number == 0) {
    duk_push_null(context);
    return 1;
  }
  IScriptScene& scene = machine.Scene();
  machine.Charge(context, scene.CountOf(node) / 4.0);
  if (PushFound(context, FindCalled(scene, node, TextAt(context, 0), number))) return 1;
  if (node.kind == NodeKind::kLayer || node.kind == NodeKind::kShape) {
    duk_push_null(context);
    return 1;
  }
  return duk_reference_error(context, "there is no %s here", duk_safe_to_string(context, 0));
}

SceneNode ThisOf(duk_context* context) {
  duk_push_this(context);
  const SceneNode node = ScriptMachine::NodeAt(context, -1);
  duk_pop(context);
  return node;
}

/// A member of the table of words; its name is the getter's own.
duk_ret_t GetPart(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 2);
  const SceneNode node = ThisOf(context);
  duk_push_current_function(context);
  duk_get_prop_string(context, -1, kNodeKey);
  const std::string_view member = TextAt(context, -1);
  const std::string_view type = machine.Scene().NamesOf(node).type;
  if (!PushPart(context, node, PartNamed(node.kind, type, member))) return 0;
  return 1;
}

/// thisLayer.position and the like: a member of its transform.
duk_ret_t GetOfTransform(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 2);
  const SceneNode transform = machine.Scene().PartOf(ThisOf(context), "ks");
  duk_push_current_function(context);
  duk_get_prop_string(context, -1, kNodeKey);
  const std::string_view part = PartNamed(NodeKind::kTransform, {}, TextAt(context, -1));
  return transform && PushPart(context, transform, part) ? 1 : 0;
}

enum Fact {
  kName,
  kIndex,
  kWidth,
  kHeight,
  kDuration,
  kFrameDuration,
  kLayerTotal,
  kZero,
  kOne,
  kInPoint,
  kOutPoint,
  kStartTime,
  kActive,
  kHasParent,
  kParent,
  kSource,
  kItemTotal,
  kFirst,
  kMarkers,
  kGroup,
  kFillColour,
};

duk_ret_t GetFact(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  IScriptScene& scene = machine.Scene();
  machine.Charge(context, 1);
  const SceneNode node = ThisOf(context);
  const bool layer = node.kind == NodeKind::kLayer;
  switch (duk_get_current_magic(context)) {
    case kName:
      PushText(context, scene.NamesOf(node).name);
      return 1;
    case kIndex:
      duk_push_int(context, scene.NamesOf(node).index);
      return 1;
    case kWidth:
      duk_push_number(
          context, layer ? scene.FactsOfLayer(node).width : scene.FactsOfComposition(node).width);
      return 1;
    case kHeight:
      duk_push_number(
          context, layer ? scene.FactsOfLayer(node).height : scene.FactsOfComposition(node).height);
      return 1;
    case kDuration:
      duk_push_number(context, scene.FactsOfComposition(node).durationSeconds);
      return 1;
    case kFrameDuration:
      duk_push_number(context, scene.FactsOfComposition(node).frameSeconds);
      return 1;
    case kLayerTotal:
    case kItemTotal:
      duk_push_int(context, scene.CountOf(node));
      return 1;
    case kZero:
      duk_push_int(context, 0);
      return 1;
    case kOne:
      duk_push_int(context, 1);
      return 1;
    case kInPoint:
      duk_push_number(context, scene.FactsOfLayer(node).inSeconds);
      return 1;
    case kOutPoint:
      duk_push_number(context, scene.FactsOfLayer(node).outSeconds);
      return 1;
    case kStartTime:
      duk_push_number(context, scene.FactsOfLayer(node).startSeconds);
      return 1;
    case kActive:
      machine.NowOf(node);  // with the time it comes and goes
      duk_push_boolean(context, scene.FactsOfLayer(node).active ? 1 : 0);
      return 1;
    case kHasParent:
      duk_push_boolean(context, scene.ParentOf(node) ? 1 : 0);
      return 1;
    case kParent:
      machine.PushNode(context, scene.ParentOf(node));
      return 1;
    case kSource:
      machine.PushNode(context, scene.SourceOf(node));
      return 1;
    case kFirst:
      PushFound(context, scene.ItemOf(node, 0));
      return 1;
    default:
      return 0;
  }
}

/// Groups that a property or a group stands in: propertyGroup(how many of them up).
duk_ret_t PropertyGroup(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  SceneNode node = machine.ThisNode(context, true);
  int steps = duk_is_number(context, 0) ? duk_get_int(context, 0) : 1;
  for (; steps > 0 && node; --steps) {
    machine.Charge(context, 1);
    node = machine.Scene().GroupOf(node);
  }
  if (node.kind == NodeKind::kProperty) {
    machine.PushProperty(context, node, machine.ReadingTimeOf(node), true);
  } else {
    machine.PushNode(context, node);
  }
  return 1;
}

/// thisComp.layer("Name"), .layer(number), .layer(layer, further)
duk_ret_t FindLayer(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const SceneNode composition = ThisOf(context);
  IScriptScene& scene = machine.Scene();
  const int count = scene.CountOf(composition);
  machine.Charge(context, 2 + count / 4.0);
  const SceneNode other = ScriptMachine::NodeAt(context, 0);
  SceneNode found;
  if (other.kind == NodeKind::kLayer) {
    for (int i = 0; i < count; ++i) {
      if (!(scene.ItemOf(composition, i) == other)) continue;
      const double at = i + (duk_is_number(context, 1) ? duk_get_number(context, 1) : 0);
      if (at >= 0 && at < count) found = scene.ItemOf(composition, static_cast<int>(at));
    }
  } else {
    if (duk_is_object(context, 0) != 0) duk_to_primitive(context, 0, DUK_HINT_NONE);
    const double given = duk_is_number(context, 0) ? duk_get_number(context, 0) : 0;
    found = FindItem(scene, composition, TextAt(context, 0), NumberOfItem(given));
  }
  if (!found) {
    return duk_reference_error(context, "there is no layer %s", duk_safe_to_string(context, 0));
  }
  machine.PushNode(context, found);
  return 1;
}

duk_ret_t FindComposition(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 4);
  const SceneNode found = machine.Scene().CompositionNamed(TextAt(context, 0));
  if (!found) {
    return duk_reference_error(context, "there is no composition %s",
                               duk_safe_to_string(context, 0));
  }
  machine.PushNode(context, found);
  return 1;
}

/// toComp(point, time) and its kin.
duk_ret_t Carry(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 8);
  const SceneNode layer = machine.ThisNode(context, false);
  ScriptOperand point;
  if (!ReadOperand(context, 0, point)) return duk_type_error(context, "expected a point");
  const double seconds =
      duk_is_number(context, 1) ? duk_get_number(context, 1) : machine.ReadingTimeOf(layer);
  CarryPoint(machine.Scene().MatrixOf(layer, seconds),
             static_cast<PointWay>(duk_get_current_magic(context)), point);
  PushOperand(context, point);
  return 1;
}

/// sourceRectAtTime(time, with extents)
duk_ret_t SourceRect(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  machine.Charge(context, 64);
  const SceneNode layer = machine.ThisNode(context, false);
  double box[4] = {0, 0, 0, 0};
  double cost = 0;
  machine.Scene().SourceRectOf(
      layer, duk_is_number(context, 0) ? duk_get_number(context, 0) : machine.NowOf(layer), box,
      cost);
  machine.Charge(context, cost);
  static constexpr const char* kSides[] = {"left", "top", "width", "height"};
  duk_push_object(context);
  for (int i = 0; i < 4; ++i) {
    duk_push_number(context, box[i]);
    duk_put_prop_string(context, -2, kSides[i]);
  }
  return 1;
}

duk_ret_t SampleImage(duk_context* context) {
  ScriptOperand colour;
  colour.list = true;
  colour.count = 4;
  std::fill_n(colour.numbers, 4, 1.0);
  PushOperand(context, colour);
  return 1;
}

// --- Markers ---

void PushMarker(duk_context* context, const ScriptMarker& marker, int index) {
  duk_push_object(context);
  duk_push_number(context, marker.seconds);
  duk_put_prop_string(context, -2, "time");
  duk_push_number(context, marker.durationSeconds);
  duk_put_prop_string(context, -2, "duration");
  PushText(context, marker.comment);
  duk_put_prop_string(context, -2, "comment");
  duk_push_int(context, index + 1);
  duk_put_prop_string(context, -2, "index");
}

/// marker.key(number or comment); magic 1: marker.nearestKey(time)
duk_ret_t MarkerKey(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  IScriptScene& scene = machine.Scene();
  const SceneNode composition = ThisOf(context);
  const int count = scene.MarkerCount(composition);
  machine.Charge(context, 2 + count);
  const bool nearest = duk_get_current_magic(context) == 1;
  const double number = duk_is_number(context, 0) ? duk_get_number(context, 0)
                        : nearest                 ? machine.Time()
                                                  : 0;
  const std::string_view comment = TextAt(context, 0);
  int found = -1;
  double least = HUGE_VAL;
  for (int i = 0; i < count; ++i) {
    const ScriptMarker marker = scene.MarkerAt(composition, i);
    if (nearest) {
      const double away = std::fabs(marker.seconds - number);
      if (away < least) found = i;
      least = std::min(least, away);
    } else if (number == i + 1 || (!comment.empty() && marker.comment == comment)) {
      found = i;
      break;
    }
  }
  if (found < 0) {
    return duk_range_error(context, "there is no marker %s", duk_safe_to_string(context, 0));
  }
  PushMarker(context, scene.MarkerAt(composition, found), found);
  return 1;
}

duk_ret_t Markers(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  SceneNode node = ThisOf(context);
  if (node.kind == NodeKind::kLayer) node = machine.Scene().SourceOf(node);
  duk_push_object(context);
  duk_push_int(context, machine.Scene().MarkerCount(node));
  duk_put_prop_string(context, -2, "numKeys");
  duk_push_global_stash(context);
  duk_get_prop_string(context, -1, "marker");
  duk_remove(context, -2);
  duk_set_prototype(context, -2);
  machine.PushNode(context, node);
  duk_get_prop_string(context, -1, kNodeKey);
  duk_put_prop_string(context, -3, kNodeKey);
  duk_pop(context);
  return 1;
}

// --- Properties ---

duk_ret_t PropertyValue(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  const SceneNode property = ThisOf(context);
  const ScriptValue* value = machine.Read(property, machine.ReadingTimeOf(property), true);
  if (value == nullptr) return 0;
  machine.PushValue(context, *value);
  return 1;
}

/// sourceText.style: what is known of it.
duk_ret_t TextStyle(duk_context* context) {
  ScriptMachine& machine = ScriptMachine::Of(context);
  static constexpr struct {
    const char* member;
    const char* part;
  } kStyle[] = {{"fillColor", "fc"},    {"strokeColor", "sc"}, {"strokeWidth", "sw"},
                {"fontSize", "s"},      {"leading", "lh"},     {"tracking", "tr"},
                {"baselineShift", "ls"}};
  const SceneNode text = machine.Scene().GroupOf(ThisOf(context));
  duk_push_object(context);
  for (const auto& each : kStyle) {
    const SceneNode part = text ? machine.Scene().PartOf(text, each.part) : SceneNode();
    const ScriptValue* value =
        part ? machine.Read(part, machine.ReadingTimeOf(part), false) : nullptr;
    if (value == nullptr) continue;
    machine.PushValue(context, *value);
    duk_put_prop_string(context, -2, each.member);
  }
  return 1;
}

void DefineGetter(duk_context* context, const char* name, duk_c_function function, int magic,
                  const char* data = nullptr) {
  duk_push_string(context, name);
  duk_push_c_function(context, function, 0);
  duk_set_magic(context, -1, magic);
  if (data != nullptr) {
    duk_push_string(context, data);
    duk_put_prop_string(context, -2, kNodeKey);
  }
  duk_def_prop(context, -3, DUK_DEFPROP_HAVE_GETTER | DUK_DEFPROP_SET_CONFIGURABLE);
}

void DefineMethod(duk_context* context, const char* name, duk_c_function function, duk_idx_t count,
                  int magic = 0) {
  duk_push_c_function(context, function, count);
  duk_set_magic(context, -1, magic);
  duk_put_prop_string(context, -2, name);
}

struct FactName {
  const char* name;
  int fact;
};

void DefineFacts(duk_context* context, const FactName* facts, size_t count) {
  for (size_t i = 0; i < count; ++i) DefineGetter(context, facts[i].name, GetFact, facts[i].fact);
}

constexpr FactName kNodeFacts[] = {
    {"name", kName}, {"_name", kName}, {"propertyIndex", kIndex}, {"numProperties", kItemTotal}};
constexpr FactName kCompositionFacts[] = {
    {"width", kWidth},          {"height", kHeight},
    {"duration", kDuration},    {"frameDuration", kFrameDuration},
    {"numLayers", kLayerTotal}, {"displayStartTime", kZero},
    {"pixelAspect", kOne}};
constexpr FactName kLayerFacts[] = {
    {"index", kIndex},     {"width", kWidth},       {"height", kHeight},
    {"inPoint", kInPoint}, {"outPoint", kOutPoint}, {"startTime", kStartTime},
    {"active", kActive},   {"enabled", kActive},    {"hasParent", kHasParent},
    {"parent", kParent},   {"source", kSource}};
constexpr FactName kEffectFacts[] = {{"color", kFirst}, {"enabled", kOne}, {"active", kOne}};

constexpr struct {
  const char* name;
  PointWay way;
} kCarriers[] = {{"toWorld", PointWay::kToPoint},
                 {"toComp", PointWay::kToPoint},
                 {"fromWorld", PointWay::kFromPoint},
                 {"fromComp", PointWay::kFromPoint},
                 {"toWorldVec", PointWay::kToVector},
                 {"toCompVec", PointWay::kToVector},
                 {"fromWorldVec", PointWay::kFromVector},
                 {"fromCompVec", PointWay::kFromVector},
                 {"fromCompToSurface", PointWay::kFromPoint}};

constexpr const char* kTransformMembers[] = {
    "position",     "scale",       "rotation",  "opacity",   "anchorPoint",
    "anchor_point", "orientation", "xRotation", "yRotation", "zRotation"};

void AddLayerOperations(duk_context* context) {
  for (const auto& each : kCarriers)
    DefineMethod(context, each.name, Carry, 2, static_cast<int>(each.way));
  DefineMethod(context, "sourceRectAtTime", SourceRect, 2);
  DefineMethod(context, "sampleImage", SampleImage, DUK_VARARGS);
}

/// On top of the stack: the prototype that a kind of node has, kept in the stash below it.
void BuildPrototype(duk_context* context, NodeKind kind) {
  duk_push_object(context);
  // Nodes are functions: they can be called.
  duk_get_global_string(context, "Function");
  duk_get_prop_string(context, -1, "prototype");
  duk_set_prototype(context, -3);
  duk_pop(context);
  ForEachMember(
      kind,
      [](void* data, const char* member) {
        DefineGetter(static_cast<duk_context*>(data), member, GetPart, 0, member);
      },
      context);
  DefineFacts(context, kNodeFacts, std::size(kNodeFacts));
  DefineMethod(context, "propertyGroup", PropertyGroup, 1);
  switch (kind) {
    case NodeKind::kComposition:
      DefineFacts(context, kCompositionFacts, std::size(kCompositionFacts));
      DefineMethod(context, "layer", FindLayer, 2);
      DefineGetter(context, "marker", Markers, 0);
      break;
    case NodeKind::kLayer:
      DefineFacts(context, kLayerFacts, std::size(kLayerFacts));
      for (const char* member : kTransformMembers) {
        DefineGetter(context, member, GetOfTransform, 0, member);
      }
      DefineGetter(context, "marker", Markers, 0);
      AddLayerOperations(context);
      break;
    case NodeKind::kEffect:
      DefineFacts(context, kEffectFacts, std::size(kEffectFacts));
      break;
    case NodeKind::kShape:
      DefineGetter(context, "shape", GetPart, 0, "path");
      break;
    default:
      break;
  }
  duk_put_prop_string(context, -2, PrototypeOf(kind));
}

/// Of properties whose value is a number, a list or a text: on top of what these can do anyway. Of
/// paths (no base) it is there already.
void BuildPropertyPrototype(duk_context* context, const char* name, const char* base) {
  if (base == nullptr) {
    duk_get_prop_string(context, -1, name);
  } else {
    duk_push_object(context);
    duk_get_global_string(context, base);
    duk_get_prop_string(context, -1, "prototype");
    duk_set_prototype(context, -3);
    duk_pop(context);
  }
  AddPropertyOperations(context, duk_get_top_index(context));
  duk_get_prop_string(context, -2, "keys");
  for (const char* getter : {"numKeys", "velocity", "speed"}) {
    duk_push_string(context, getter);
    duk_get_prop_desc(context, -2, 0);
    duk_get_prop_string(context, -1, "get");
    duk_remove(context, -2);
    duk_push_string(context, getter);
    duk_swap_top(context, -2);
    duk_def_prop(context, -4, DUK_DEFPROP_HAVE_GETTER | DUK_DEFPROP_SET_CONFIGURABLE);
  }
  duk_pop(context);
  DefineGetter(context, "value", PropertyValue, 0);
  DefineFacts(context, kNodeFacts, 3);
  DefineMethod(context, "propertyGroup", PropertyGroup, 1);
  if (base != nullptr && base[0] == 'S') DefineGetter(context, "style", TextStyle, 0);
  duk_put_prop_string(context, -2, name);
}

}  // namespace

void AddObjects(duk_context* context) {
  duk_push_global_stash(context);
  for (const NodeKind kind :
       {NodeKind::kComposition, NodeKind::kLayer, NodeKind::kTransform, NodeKind::kShape,
        NodeKind::kEffect, NodeKind::kMask, NodeKind::kText, NodeKind::kContents}) {
    BuildPrototype(context, kind);
  }
  BuildPropertyPrototype(context, "number", "Number");
  BuildPropertyPrototype(context, "vector", "Array");
  BuildPropertyPrototype(context, "string", "String");
  BuildPropertyPrototype(context, "path", nullptr);
  duk_push_object(context);
  DefineMethod(context, "key", MarkerKey, 1);
  DefineMethod(context, "nearestKey", MarkerKey, 1, 1);
  duk_put_prop_string(context, -2, "marker");
  duk_pop(context);
  duk_push_global_object(context);
  AddLayerOperations(context);
  DefineMethod(context, "comp", FindComposition, 1);
  DefineMethod(context, "propertyGroup", PropertyGroup, 1);
  duk_pop(context);
}

// --- What other rooms ask for ---

SceneNode ScriptMachine::NodeAt(duk_context* context, duk_idx_t index) {
  if (duk_is_object(context, index) == 0) return {};
  duk_get_prop_string(context, index, kNodeKey);
  const auto* node = static_cast<const SceneNode*>(duk_get_pointer(context, -1));
  duk_pop(context);
  return node == nullptr ? SceneNode() : *node;
}

SceneNode ScriptMachine::ThisNode(duk_context* context, bool property) {
  PLEXION_CHECK(site_ != nullptr, "functions are called by expressions only");
  const SceneNode node = ThisOf(context);
  if (property) return node.kind == NodeKind::kNone ? site_->property : node;
  return node.kind == NodeKind::kLayer ? node : site_->layer;
}

void ScriptMachine::PushNode(duk_context* context, const SceneNode& node) {
  KeptNode* kept = node && nodes_.size() < kMostNodes ? Keep(node) : nullptr;
  if (kept == nullptr) {
    duk_push_null(context);
    return;
  }
  if (kept->object != nullptr) {
    duk_push_heapptr(context, kept->object);
    return;
  }
  duk_push_global_stash(context);
  duk_get_prop_string(context, -1, "nodes");
  duk_push_c_function(context, CallNode, 1);
  duk_push_pointer(context, &kept->node);
  duk_put_prop_string(context, -2, kNodeKey);
  duk_get_prop_string(context, -3, PrototypeOf(node.kind));
  duk_set_prototype(context, -2);
  // Its own ones would hide those of its kind.
  duk_del_prop_string(context, -1, "length");
  duk_del_prop_string(context, -1, "name");
  duk_dup_top(context);
  duk_put_prop_index(context, -3, kept->number);
  kept->object = duk_get_heapptr(context, -1);
  duk_replace(context, -3);
  duk_pop(context);
}

void ScriptMachine::PushValue(duk_context* context, const ScriptValue& value) {
  switch (value.kind) {
    case ScriptValue::Kind::kNumber:
      duk_push_number(context, value.numbers.empty() ? 0 : value.numbers[0]);
      return;
    case ScriptValue::Kind::kVector:
      duk_push_array(context);
      for (size_t i = 0; i < value.numbers.size(); ++i) {
        duk_push_number(context, value.numbers[i]);
        duk_put_prop_index(context, -2, static_cast<duk_uarridx_t>(i));
      }
      return;
    case ScriptValue::Kind::kPath:
      PushPath(context, value.path.data(), value.path.size(), value.closed);
      return;
    case ScriptValue::Kind::kText:
      duk_push_lstring(context, value.text.data(), value.text.size());
      return;
    case ScriptValue::Kind::kNone:
      break;
  }
  duk_push_undefined(context);
}

void ScriptMachine::PushProperty(duk_context* context, const SceneNode& property, double seconds,
                                 bool scripted) {
  KeptNode* kept = property && nodes_.size() < kMostNodes ? Keep(property) : nullptr;
  const ScriptValue* value = kept == nullptr ? nullptr : Read(property, seconds, scripted);
  if (value == nullptr) {
    duk_push_null(context);
    return;
  }
  const ScriptValue::Kind kind = value->kind;
  PushValue(context, *value);
  duk_to_object(context, -1);
  if (kind != ScriptValue::Kind::kPath) {
    static constexpr const char* kNames[] = {"number", "vector", "string"};
    const size_t which = kind == ScriptValue::Kind::kNumber   ? 0
                         : kind == ScriptValue::Kind::kVector ? 1
                                                              : 2;
    PushStored(context, kNames[which], prototypes_[which]);
    duk_set_prototype(context, -2);
  }
  duk_push_pointer(context, &kept->node);
  duk_put_prop_string(context, -2, kNodeKey);
}

// --- What stands around an expression ---

bool ScriptMachine::IsSurrounding(std::string_view name) {
  return FindSurrounding(name) != nullptr;
}

void ScriptMachine::PushArgument(duk_context* context, const std::string& name,
                                 const ScriptValue& keyed) {
  const SurroundingName* const found = FindSurrounding(name);
  if (found == nullptr) {
    duk_push_undefined(context);
    return;
  }
  IScriptScene& scene = *scene_;
  switch (found->what) {
    case Surrounding::kTime:
      duk_push_number(context, Time());
      return;
    case Surrounding::kValue:
      PushValue(context, keyed);
      return;
    case Surrounding::kComposition:
      PushNode(context, scene.CompositionOf(site_->layer));
      return;
    case Surrounding::kLayer:
      PushNode(context, site_->layer);
      return;
    case Surrounding::kProperty:
      PushProperty(context, site_->property, time_, false);
      return;
    case Surrounding::kLayerPart:
      if (!PushPart(context, site_->layer, found->detail)) duk_push_undefined(context);
      return;
    case Surrounding::kTransformPart: {
      const SceneNode transform = scene.PartOf(site_->layer, "ks");
      if (!transform || !PushPart(context, transform, found->detail)) duk_push_undefined(context);
      return;
    }
    case Surrounding::kLayerMember:
      PushNode(context, site_->layer);
      duk_get_prop_string(context, -1, found->detail);
      duk_remove(context, -2);
      return;
    case Surrounding::kPropertyMember:
      PushProperty(context, site_->property, time_, false);
      duk_get_prop_string(context, -1, found->detail);
      duk_remove(context, -2);
      return;
    case Surrounding::kTextIndex:
      duk_push_int(context, site_->textIndex);
      return;
    case Surrounding::kTextTotal:
      duk_push_int(context, site_->textTotal);
      return;
    case Surrounding::kSelectorValue:
      duk_push_array(context);
      for (duk_uarridx_t i = 0; i < 3; ++i) {
        duk_push_number(context, site_->selectorValue[i]);
        duk_put_prop_index(context, -2, i);
      }
      return;
  }
}

}  // namespace plexion_host::movie
