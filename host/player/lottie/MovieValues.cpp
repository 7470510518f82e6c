#include "host/player/lottie/MovieValues.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

namespace plexion_host::player {

namespace {

template <typename Visitor>
void VisitValues(const MovieValue& value, const Visitor& visit) {
  if (value.IsNumber()) {
    visit(value.GetDouble());
  } else if (value.IsArray()) {
    for (const MovieValue& element : value.GetArray()) VisitValues(element, visit);
  } else if (value.IsObject()) {
    for (const MovieMember& member : value.GetObject()) {
      if (NameIs(member, "k") || NameIs(member, "s") || NameIs(member, "e")) {
        VisitValues(member.value, visit);
      }
    }
  }
}

void BoundNumbers(MovieValue& value, double limit) {
  if (value.IsArray()) {
    for (MovieValue& element : value.GetArray()) BoundNumbers(element, limit);
  } else if (value.IsNumber() && std::abs(value.GetDouble()) > limit) {
    value.SetDouble(value.GetDouble() < 0 ? -limit : limit);
  }
}

}  // namespace

bool NameIs(const MovieMember& member, const char* name) {
  return strcmp(member.name.GetString(), name) == 0;
}

bool TextIs(const MovieValue& value, const char* text) {
  return value.IsString() && strcmp(value.GetString(), text) == 0;
}

std::string Shown(double number) {
  char text[32];
  snprintf(text, sizeof text, "%.10g", number);
  return text;
}

std::string Quoted(const MovieValue& text) {
  constexpr size_t kLongestQuote = 60;
  std::string quoted(text.GetString(), text.GetStringLength());
  if (quoted.size() > kLongestQuote) quoted = quoted.substr(0, kLongestQuote) + "...";
  return "\"" + quoted + "\"";
}

const MovieValue* Find(const MovieValue& object, const char* name) {
  const MovieValue* found = nullptr;
  for (const MovieMember& member : object.GetObject()) {
    if (NameIs(member, name)) found = &member.value;
  }
  return found;
}

double Highest(const MovieValue& value) {
  double highest = 0;
  VisitValues(value, [&highest](double number) { highest = std::max(highest, number); });
  return highest;
}

double Lowest(const MovieValue& value) {
  double lowest = kLargestNumber;
  VisitValues(value, [&lowest](double number) { lowest = std::min(lowest, number); });
  return lowest;
}

double ScaleOf(const MovieValue& transform) {
  double percent = 100;
  if (!transform.IsObject()) return 1;
  for (const MovieMember& member : transform.GetObject()) {
    if (!NameIs(member, "s")) continue;
    const double highest = Highest(member.value);
    const double lowest = std::min(0.0, Lowest(member.value));
    percent = std::max({percent, highest, -lowest});
  }
  return percent / 100;
}

void BoundEasing(MovieValue& value, double limit) {
  if (value.IsNumber()) return;
  if (value.IsArray()) {
    for (MovieValue& element : value.GetArray()) BoundEasing(element, limit);
    return;
  }
  if (!value.IsObject()) return;
  for (MovieMember& member : value.GetObject()) {
    // An opacity and a path's tangents have the same names, but no x and y.
    const bool curve = NameIs(member, "i") || NameIs(member, "o");
    if (curve && member.value.IsObject()) {
      for (MovieMember& axis : member.value.GetObject()) {
        if (NameIs(axis, "x") || NameIs(axis, "y")) BoundNumbers(axis.value, limit);
      }
    }
    BoundEasing(member.value, limit);
  }
}

}  // namespace plexion_host::player
