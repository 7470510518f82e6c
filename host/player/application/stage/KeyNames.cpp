// Names of keys for scripts: those of the launcher's key table. Codes without a name here and
// without a character are passed as a number alone.
#include "host/player/application/script/Behaviour.h"
#include "qx/plexion/KeyCodes.h"

namespace plexion_host::player::application {

std::string KeyName(unsigned long code) {
  for (const auto& key : qx::plexion::kNamedKeys) {
    if (key.code == code) return key.name;
  }
  // Characters are their own codes.
  if (code < 0x20 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return "";
  std::string text;
  if (code < 0x80) {
    text = static_cast<char>(code);
  } else if (code < 0x800) {
    text = {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))};
  } else if (code < 0x10000) {
    text = {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3F)),
            static_cast<char>(0x80 | (code & 0x3F))};
  } else {
    text = {static_cast<char>(0xF0 | code >> 18), static_cast<char>(0x80 | (code >> 12 & 0x3F)),
            static_cast<char>(0x80 | (code >> 6 & 0x3F)), static_cast<char>(0x80 | (code & 0x3F))};
  }
  return text;
}

}  // namespace plexion_host::player::application
