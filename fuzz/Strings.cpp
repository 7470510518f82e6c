// Text through QXString, both ways, against a decoder and an encoder that share no code with it.

#include <vector>

#include "fuzz/FuzzInput.h"
#include "qx/core/QXString.h"
#include "sim/device/SimDevice.h"

namespace {

using Units = std::vector<unsigned short>;

/// One sequence as the rule has it: masks instead of one sum of offsets. The marks of bytes that
/// are no continuation bytes carry into the value, so they are added, not masked.
unsigned DecodeOne(const std::string& text, size_t at, Units& units) {
  const unsigned lead = static_cast<unsigned char>(text[at]);
  unsigned length = 1;
  for (unsigned mask = 0xC0; lead >= mask && length < 6; mask = mask >> 1 | 0x80) ++length;
  if (at + length > text.size()) return 0;
  const unsigned kLeadMark[] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
  uint32_t value = lead - kLeadMark[length];
  for (unsigned i = 1; i < length; ++i) {
    value = value * 64 + static_cast<unsigned char>(text[at + i]) - 0x80u;
  }
  if (value < 0x10000 && (value < 0xD800 || value > 0xDFFF)) {
    units.push_back(static_cast<unsigned short>(value));
  } else if (value >= 0x10000 && value <= 0x10FFFF) {
    units.push_back(static_cast<unsigned short>(0xD7C0 + value / 1024));
    units.push_back(static_cast<unsigned short>(0xDC00 + value % 1024));
  } else {
    units.push_back(0xFFFD);
  }
  return length;
}

Units Decode(const std::string& text) {
  Units units;
  for (size_t at = 0; at < text.size();) {
    const unsigned length = DecodeOne(text, at, units);
    if (length == 0) break;  // would run past the end
    at += length;
  }
  return units;
}

std::string Encode(const Units& units) {
  std::string text;
  for (size_t i = 0; i < units.size(); ++i) {
    uint32_t value = units[i];
    if (value >= 0xD800 && value < 0xDC00) {
      const bool paired = i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000;
      value = paired ? 0x10000 + (value - 0xD800) * 1024 + (units[++i] - 0xDC00u) : 0xFFFD;
    }
    if (value < 0x80) {
      text += static_cast<char>(value);
    } else if (value < 0x800) {
      text += {static_cast<char>(0xC0 + value / 64), static_cast<char>(0x80 + value % 64)};
    } else if (value < 0x10000) {
      text += {static_cast<char>(0xE0 + value / 4096), static_cast<char>(0x80 + value / 64 % 64),
               static_cast<char>(0x80 + value % 64)};
    } else {
      text +=
          {static_cast<char>(0xF0 + value / 262144), static_cast<char>(0x80 + value / 4096 % 64),
           static_cast<char>(0x80 + value / 64 % 64), static_cast<char>(0x80 + value % 64)};
    }
  }
  return text;
}

/// Up to the first zero, as every reader of the zero-terminated forms sees it.
Units UpToZero(const Units& units) {
  Units head;
  for (const unsigned short unit : units) {
    if (unit == 0) break;
    head.push_back(unit);
  }
  return head;
}

void Check(const QXString& string, const Units& expected, const char* what) {
  const Units held(string.Units(), string.Units() + string.Length());
  Require(held == expected, std::string(what) + ": units");
  Require(string.Units()[string.Length()] == 0, std::string(what) + ": terminator");
  Require(string.Utf8() == Encode(UpToZero(expected)), std::string(what) + ": UTF-8");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  plexion_sim::SimOptions options;
  options.journal = false;
  plexion_sim::SimDevice device(options);
  {
    const std::string raw(reinterpret_cast<const char*>(data), size);
    const std::string text = raw.substr(0, raw.find('\0'));
    const Units expected = Decode(text);
    QXString string(text.c_str());
    Check(string, expected, "assigned");

    Units twice = expected;
    twice.insert(twice.end(), expected.begin(), expected.end());
    string.Append(text.c_str());
    Check(string, twice, "appended");
    string.Append(string);
    twice.insert(twice.end(), twice.begin(), twice.end());
    Check(string, twice, "appended to itself");
    string.Assign(string.Utf8());
    Check(string, Decode(Encode(UpToZero(twice))), "assigned its own UTF-8");

    Units units;
    for (size_t i = 0; i + 1 < size; i += 2) {
      units.push_back(static_cast<unsigned short>(data[i] | data[i + 1] << 8));
    }
    QXString wide;
    wide.Assign16(units.data(), units.size());
    Check(wide, units, "assigned units");
  }
  Require(device.Finish().empty(), "memory given back");
  return 0;
}
