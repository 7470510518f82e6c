// What a part of a text has of its own, for documents and scripts.
#ifndef HOST_PLAYER_APPLICATION_STAGE_SPANPROPERTIES_H_
#define HOST_PLAYER_APPLICATION_STAGE_SPANPROPERTIES_H_

#include <string>
#include <string_view>
#include <vector>

#include "host/player/application/stage/Properties.h"

namespace plexion_host::player::application {

/// One attribute of a <span>, of the meaning that it has for a text.
struct SpanProperty {
  const char* name;
  ValueType type;
  double lowest = 0;
  double highest = 0;  ///< of a text: most bytes
  double TextSpan::*number = nullptr;
  bool TextSpan::*flag = nullptr;
  std::string TextSpan::*text = nullptr;
  Colour TextSpan::*colour = nullptr;
};

/// Null when there is no such attribute.
const SpanProperty* FindSpanProperty(std::string_view name);
std::vector<std::string> SpanPropertyNames();
std::string Expected(const SpanProperty& property);
/// False, with the span unchanged, when the text is none of this attribute's.
bool SetSpanFromText(TextSpan& span, const SpanProperty& property, std::string_view value);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_STAGE_SPANPROPERTIES_H_
