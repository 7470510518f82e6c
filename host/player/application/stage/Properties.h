// What elements have, for documents and scripts.
#ifndef HOST_PLAYER_APPLICATION_STAGE_PROPERTIES_H_
#define HOST_PLAYER_APPLICATION_STAGE_PROPERTIES_H_

#include <stddef.h>

#include <string>
#include <string_view>
#include <vector>

#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

enum class ValueType { kNumber, kFlag, kText, kColour, kChoice, kPoints };

/// One attribute of the document, and one field of an element in a script.
struct Property {
  const char* name;
  ValueType type;
  unsigned kinds;  ///< bit 1 << ElementKind for each kind that has it
  /// Place only: the element's own picture stays as it is.
  bool place;
  double lowest = 0;
  double highest = 0;  ///< of a text: most bytes
  double Element::*number = nullptr;
  bool Element::*flag = nullptr;
  std::string Element::*text = nullptr;
  Colour Element::*colour = nullptr;
  int Element::*choice = nullptr;
  std::vector<double> Element::*points = nullptr;
  const char* words = nullptr;  ///< the choices, separated by '|'
};

/// All of them, ended by one without a name.
extern const Property kProperties[];

/// Null when this kind of element has no such property.
const Property* FindProperty(ElementKind kind, std::string_view name);

/// "#rgb", "#rrggbb", "#rrggbbaa" or "none".
bool ReadColour(std::string_view text, Colour& colour);
std::string WriteColour(const Colour& colour);
/// "0,0 20,5 40,0": numbers in pairs, with commas or blanks in between.
bool ReadPoints(std::string_view text, std::vector<double>& points);
std::string WritePoints(const std::vector<double>& points);
constexpr size_t kMostPoints = 2000;
/// As ReadNumber of host/base/Text reads it.
std::string ShowNumber(double number);

// Setting. Each returns false with `error` saying what was expected; the element is then unchanged.
bool SetNumber(Element& element, const Property& property, double value, std::string& error);
bool SetPoints(Element& element, const Property& property, std::vector<double> points,
               std::string& error);
bool SetFromText(Element& element, const Property& property, std::string_view value,
                 std::string& error);
/// "a number from 0 to 1", "one of left, center, right".
std::string Expected(const Property& property);
/// The word of the choice that is set.
std::string ChoiceWord(const Property& property, int choice);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_STAGE_PROPERTIES_H_
