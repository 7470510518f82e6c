// Names of keys for scripts: those of the launcher's key table. Codes without a name here and
// without a character are passed as a number alone.
#include "host/player/application/script/Behaviour.h"

namespace plexion_host::player::application {

namespace {

struct NamedKey {
  unsigned long code;
  const char* name;
};

constexpr NamedKey kNames[] = {
    {0x01000001, "left"},        {0x01000002, "up"},       {0x01000003, "right"},
    {0x01000004, "down"},        {0x01000005, "ok"},       {0x01000006, "back"},
    {0x01000007, "play"},        {0x01000008, "pause"},    {0x01000009, "stop"},
    {0x0100000A, "rewind"},      {0x0100000B, "forward"},  {0x0100000C, "previous"},
    {0x0100000D, "next"},        {0x0100000E, "record"},   {0x01000010, "red"},
    {0x01000011, "green"},       {0x01000012, "yellow"},   {0x01000013, "blue"},
    {0x01000014, "menu"},        {0x01000015, "home"},     {0x01000016, "guide"},
    {0x01000017, "info"},        {0x01000018, "exit"},     {0x01000019, "channelup"},
    {0x0100001A, "channeldown"}, {0x0100001B, "volumeup"}, {0x0100001C, "volumedown"},
    {0x0100001D, "mute"},        {0x0100001E, "shell"},    {0x0100001F, "power"},
    {0x01000020, "pageup"},      {0x01000021, "pagedown"}, {0x01000022, "end"},
    {0x01000023, "insert"},      {0x01000024, "help"},     {0x01000025, "subtitle"},
    {0x01000026, "teletext"},    {0x00000009, "tab"},      {0x0000001B, "escape"},
    {0x00000020, "space"},       {0x0000007F, "delete"},
};

constexpr unsigned long kFirstFunctionKey = 0x01000031;
constexpr unsigned long kLastFunctionKey = 0x0100003C;

}  // namespace

std::string KeyName(unsigned long code) {
  for (const NamedKey& key : kNames) {
    if (key.code == code) return key.name;
  }
  if (code >= kFirstFunctionKey && code <= kLastFunctionKey) {
    return "f" + std::to_string(code - kFirstFunctionKey + 1);
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
