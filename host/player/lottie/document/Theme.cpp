// Themes of archives: other values for a document's slots.
#include "host/player/lottie/document/Theme.h"

#include <vector>

namespace plexion_host::movie {

namespace {

JsonValue NumberValue(double number) {
  JsonValue value;
  value.kind = JsonValue::Kind::kNumber;
  value.number = number;
  return value;
}

JsonValue ObjectOf(const std::vector<JsonMember>& members, Arena& arena) {
  JsonValue value;
  value.kind = JsonValue::Kind::kObject;
  value.count = static_cast<uint32_t>(members.size());
  value.members = arena.Copy(members).data;
  return value;
}

JsonValue ArrayOf(const std::vector<JsonValue>& elements, Arena& arena) {
  JsonValue value;
  value.kind = JsonValue::Kind::kArray;
  value.count = static_cast<uint32_t>(elements.size());
  value.elements = arena.Copy(elements).data;
  return value;
}

/// A gradient is a list of offsets with colours; the document has plain numbers.
JsonValue Flattened(const JsonValue& value, Arena& arena) {
  if (!value.IsArray() || value.count == 0 || !value.elements[0].IsObject()) return value;
  std::vector<JsonValue> numbers, opacities;
  bool seeThrough = false;
  for (const JsonValue& stop : value.Elements()) {
    const JsonValue* offset = stop.Find("offset");
    const JsonValue* colour = stop.Find("color");
    if (offset == nullptr || colour == nullptr || colour->count < 3) continue;
    numbers.push_back(*offset);
    for (size_t i = 0; i < 3; ++i) numbers.push_back(colour->Elements()[i]);
    const double alpha = colour->count > 3 ? colour->Elements()[3].Number(1) : 1;
    seeThrough = seeThrough || alpha < 1;
    opacities.push_back(*offset);
    opacities.push_back(NumberValue(alpha));
  }
  if (seeThrough) numbers.insert(numbers.end(), opacities.begin(), opacities.end());
  return ArrayOf(numbers, arena);
}

JsonValue KeysOf(const JsonValue& list, Arena& arena) {
  std::vector<JsonValue> keys;
  constexpr struct {
    const char* theirs;
    const char* ours;
  } kNames[] = {{"frame", "t"}, {"inTangent", "i"}, {"outTangent", "o"}, {"hold", "h"}};
  for (const JsonValue& entry : list.Elements()) {
    std::vector<JsonMember> key;
    for (const auto& name : kNames) {
      if (const JsonValue* value = entry.Find(name.theirs)) key.push_back({name.ours, *value});
    }
    if (const JsonValue* value = entry.Find("value")) {
      const JsonValue numbers = Flattened(*value, arena);
      key.push_back({"s", numbers.IsArray() ? numbers : ArrayOf({numbers}, arena)});
    }
    keys.push_back(ObjectOf(key, arena));
  }
  return ArrayOf(keys, arena);
}

}  // namespace

void ApplyTheme(const JsonValue& theme, Arena& arena, JsonValue& document) {
  const JsonValue* rules = theme.Find("rules");
  if (rules == nullptr || !document.IsObject()) return;
  std::vector<JsonMember> slots;
  for (const JsonValue& rule : rules->Elements()) {
    const JsonValue* id = rule.Find("id");
    const JsonValue* value = rule.Find("value");
    const JsonValue* keys = rule.Find("keyframes");
    if (id == nullptr || (value == nullptr && keys == nullptr)) continue;
    const JsonValue content = keys != nullptr ? KeysOf(*keys, arena) : Flattened(*value, arena);
    const JsonValue property =
        ObjectOf({{"a", NumberValue(keys != nullptr ? 1 : 0)}, {"k", content}}, arena);
    slots.push_back({id->Text(), ObjectOf({{"p", property}}, arena)});
  }
  if (const JsonValue* own = document.Find("slots")) {
    for (const JsonMember& member : own->Members()) slots.push_back(member);
  }
  std::vector<JsonMember> members = {{"slots", ObjectOf(slots, arena)}};
  for (const JsonMember& member : document.Members()) {
    if (member.name != "slots") members.push_back(member);
  }
  document = ObjectOf(members, arena);
}

}  // namespace plexion_host::movie
