// Names of keys for scripts: those of the launcher's key table. Codes without a name here and
// without a character are passed as a number alone.
#include "host/base/Text.h"
#include "host/player/application/script/ScriptHost.h"
#include "qx/plexion/KeyCodes.h"

namespace plexion_host::player::application {

std::string KeyName(unsigned long code) {
  for (const auto& key : qx::plexion::kNamedKeys) {
    if (key.code == code) return key.name;
  }
  // Characters are their own codes.
  if (code < 0x20 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return "";
  std::string text;
  AppendUtf8(text, static_cast<char32_t>(code));
  return text;
}

}  // namespace plexion_host::player::application
