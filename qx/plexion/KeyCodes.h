// The codes of keys as IPlexion::DispatchKeyDown takes them, and the names that this host, its key
// maps and its scripts call them by. A character key has its code point as its code.

#ifndef QX_PLEXION_KEYCODES_H_
#define QX_PLEXION_KEYCODES_H_

#include <stdint.h>

namespace qx {
namespace plexion {

/// Those that the service itself knows.
constexpr uint32_t kKeyNone = 0;  ///< never routed
constexpr uint32_t kKeyPlay = 0x01000007;
constexpr uint32_t kKeyPause = 0x01000008;
constexpr uint32_t kKeyStop = 0x01000009;
constexpr uint32_t kKeyRewind = 0x0100000A;
constexpr uint32_t kKeyForward = 0x0100000B;
constexpr uint32_t kKeyShell = 0x0100001E;   ///< also what the key of --mastershellkey becomes
constexpr uint32_t kKeyTiming = 0x00400100;  ///< restarts the timing log; the content gets no key

struct NamedKey {
  const char* name;
  uint32_t code;
};

/// Every key that has a name. Each name and each code stands once.
constexpr NamedKey kNamedKeys[] = {
    {"left", 0x01000001},        {"up", 0x01000002},       {"right", 0x01000003},
    {"down", 0x01000004},        {"ok", 0x01000005},       {"back", 0x01000006},
    {"play", kKeyPlay},          {"pause", kKeyPause},     {"stop", kKeyStop},
    {"rewind", kKeyRewind},      {"forward", kKeyForward}, {"previous", 0x0100000C},
    {"next", 0x0100000D},        {"record", 0x0100000E},   {"red", 0x01000010},
    {"green", 0x01000011},       {"yellow", 0x01000012},   {"blue", 0x01000013},
    {"menu", 0x01000014},        {"home", 0x01000015},     {"guide", 0x01000016},
    {"info", 0x01000017},        {"exit", 0x01000018},     {"channelup", 0x01000019},
    {"channeldown", 0x0100001A}, {"volumeup", 0x0100001B}, {"volumedown", 0x0100001C},
    {"mute", 0x0100001D},        {"shell", kKeyShell},     {"power", 0x0100001F},
    {"pageup", 0x01000020},      {"pagedown", 0x01000021}, {"end", 0x01000022},
    {"insert", 0x01000023},      {"help", 0x01000024},     {"subtitle", 0x01000025},
    {"teletext", 0x01000026},    {"f1", 0x01000031},       {"f2", 0x01000032},
    {"f3", 0x01000033},          {"f4", 0x01000034},       {"f5", 0x01000035},
    {"f6", 0x01000036},          {"f7", 0x01000037},       {"f8", 0x01000038},
    {"f9", 0x01000039},          {"f10", 0x0100003A},      {"f11", 0x0100003B},
    {"f12", 0x0100003C},         {"tab", 0x00000009},      {"escape", 0x0000001B},
    {"space", 0x00000020},       {"delete", 0x0000007F},   {"timing", kKeyTiming},
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_KEYCODES_H_
