// What expressions calculate with: numbers and lists of numbers, colours, curves between values.
#include <algorithm>
#include <cmath>

#include "host/player/lottie/script/Machine.h"

namespace plexion_host::movie {

namespace {

void Need(duk_context* context, duk_idx_t index, ScriptOperand& operand) {
  if (!ReadOperand(context, index, operand)) {
    (void)duk_type_error(context, "expected a number or a list of numbers");
  }
}

/// The four operations; magic: which Calculation.
duk_ret_t CalculateBoth(duk_context* context) {
  const auto how = static_cast<Calculation>(duk_get_current_magic(context));
  if (duk_is_number(context, 0) && duk_is_number(context, 1)) {
    duk_push_number(context,
                    Calculate(how, duk_get_number(context, 0), duk_get_number(context, 1)));
    return 1;
  }
  ScriptOperand a;
  ScriptOperand b;
  const bool readA = ReadOperand(context, 0, a);
  const bool readB = ReadOperand(context, 1, b);
  if (how == Calculation::kAdd && (!readA || !readB || a.text || b.text)) {
    duk_to_string(context, 0);
    duk_to_string(context, 1);
    duk_concat(context, 2);
    return 1;
  }
  if (!readA || !readB) {
    duk_push_number(context, DUK_DOUBLE_NAN);
    return 1;
  }
  ScriptOperand result;
  Calculate(how, a, b, result);
  PushOperand(context, result);
  return 1;
}

duk_ret_t Remainder(duk_context* context) {
  duk_push_number(context, std::fmod(duk_to_number(context, 0), duk_to_number(context, 1)));
  return 1;
}

duk_ret_t Negate(duk_context* context) {
  ScriptOperand a;
  Need(context, 0, a);
  for (uint32_t i = 0; i < a.count; ++i) a.numbers[i] = -a.numbers[i];
  PushOperand(context, a);
  return 1;
}

duk_ret_t Length(duk_context* context) {
  ScriptOperand a;
  ScriptOperand b;
  Need(context, 0, a);
  const bool two = !duk_is_undefined(context, 1);
  if (two) Need(context, 1, b);
  duk_push_number(context, Distance(a, two ? &b : nullptr));
  return 1;
}

duk_ret_t Normalize(duk_context* context) {
  ScriptOperand a;
  Need(context, 0, a);
  const double length = Distance(a, nullptr);
  for (uint32_t i = 0; i < a.count; ++i) a.numbers[i] = length == 0 ? 0 : a.numbers[i] / length;
  PushOperand(context, a);
  return 1;
}

duk_ret_t Dot(duk_context* context) {
  ScriptOperand a;
  ScriptOperand b;
  Need(context, 0, a);
  Need(context, 1, b);
  double sum = 0;
  for (uint32_t i = 0; i < std::min(a.count, b.count); ++i) sum += a.numbers[i] * b.numbers[i];
  duk_push_number(context, sum);
  return 1;
}

/// Fills up to three numbers.
void NeedThree(duk_context* context, duk_idx_t index, ScriptOperand& operand) {
  Need(context, index, operand);
  for (uint32_t i = operand.count; i < 3; ++i) operand.numbers[i] = 0;
}

duk_ret_t Cross(duk_context* context) {
  ScriptOperand a;
  ScriptOperand b;
  NeedThree(context, 0, a);
  NeedThree(context, 1, b);
  ScriptOperand result;
  result.list = true;
  result.count = 3;
  for (int i = 0; i < 3; ++i) {
    const int j = (i + 1) % 3;
    const int k = (i + 2) % 3;
    result.numbers[i] = a.numbers[j] * b.numbers[k] - a.numbers[k] * b.numbers[j];
  }
  PushOperand(context, result);
  return 1;
}

duk_ret_t LookAt(duk_context* context) {
  ScriptOperand from;
  ScriptOperand to;
  NeedThree(context, 0, from);
  NeedThree(context, 1, to);
  const double x = to.numbers[0] - from.numbers[0];
  const double y = to.numbers[1] - from.numbers[1];
  const double z = to.numbers[2] - from.numbers[2];
  ScriptOperand result;
  result.list = true;
  result.count = 3;
  result.numbers[0] = -std::atan2(y, z) / kDegree;
  result.numbers[1] = std::atan2(x, std::sqrt(y * y + z * z)) / kDegree;
  result.numbers[2] = 0;
  PushOperand(context, result);
  return 1;
}

duk_ret_t ClampTo(duk_context* context) {
  ScriptOperand value;
  Need(context, 0, value);
  const double a = duk_to_number(context, 1);
  Clamp(value, a, duk_to_number(context, 2));
  PushOperand(context, value);
  return 1;
}

duk_ret_t ToRadians(duk_context* context) {
  const double factor = duk_get_current_magic(context) != 0 ? 1 / kDegree : kDegree;
  duk_push_number(context, duk_to_number(context, 0) * factor);
  return 1;
}

/// linear and its kin, by magic a Curve: (t, from, to, a, b) or (t, a, b).
duk_ret_t OnTheWay(duk_context* context) {
  const auto curve = static_cast<Curve>(duk_get_current_magic(context));
  double t = duk_to_number(context, 0);
  duk_idx_t first = 3;
  if (duk_is_undefined(context, 3) || duk_is_undefined(context, 4)) {
    first = 1;
  } else {
    const double from = duk_to_number(context, 1);
    t = ShareOf(curve, t, from, duk_to_number(context, 2));
  }
  ScriptOperand a;
  ScriptOperand b;
  Need(context, first, a);
  Need(context, first + 1, b);
  Between(curve, t, a, b);
  PushOperand(context, a);
  return 1;
}

duk_ret_t RgbToHsl(duk_context* context) {
  ScriptOperand colour;
  NeedThree(context, 0, colour);
  const double r = colour.numbers[0];
  const double g = colour.numbers[1];
  const double b = colour.numbers[2];
  const double most = std::max({r, g, b});
  const double least = std::min({r, g, b});
  const double range = most - least;
  const double lightness = (most + least) / 2;
  double hue = 0;
  double saturation = 0;
  if (range > 0) {
    saturation = range / (lightness > 0.5 ? 2 - most - least : most + least);
    hue = most == r   ? (g - b) / range + (g < b ? 6 : 0)
          : most == g ? (b - r) / range + 2
                      : (r - g) / range + 4;
  }
  if (colour.count < 4) colour.numbers[3] = 1;
  colour.numbers[0] = hue / 6;
  colour.numbers[1] = saturation;
  colour.numbers[2] = lightness;
  colour.list = true;
  colour.count = 4;
  PushOperand(context, colour);
  return 1;
}

double Channel(double p, double q, double t) {
  if (t < 0) t += 1;
  if (t > 1) t -= 1;
  if (t < 1.0 / 6) return p + (q - p) * 6 * t;
  if (t < 0.5) return q;
  if (t < 2.0 / 3) return p + (q - p) * (2.0 / 3 - t) * 6;
  return p;
}

duk_ret_t HslToRgb(duk_context* context) {
  ScriptOperand colour;
  NeedThree(context, 0, colour);
  const double hue = colour.numbers[0];
  const double saturation = colour.numbers[1];
  const double lightness = colour.numbers[2];
  const double q = lightness < 0.5 ? lightness * (1 + saturation)
                                   : lightness + saturation - lightness * saturation;
  const double p = 2 * lightness - q;
  if (colour.count < 4) colour.numbers[3] = 1;
  for (int i = 0; i < 3; ++i) {
    colour.numbers[i] = saturation == 0 ? lightness : Channel(p, q, hue + (1 - i) / 3.0);
  }
  colour.list = true;
  colour.count = 4;
  PushOperand(context, colour);
  return 1;
}

duk_ret_t HexToRgb(duk_context* context) {
  const char* text = duk_to_string(context, 0);
  if (*text == '#') ++text;
  ScriptOperand colour;
  colour.list = true;
  colour.count = 4;
  for (int i = 0; i < 4; ++i) colour.numbers[i] = i == 3 ? 1 : 0;
  for (int i = 0; i < 8 && text[i] != 0; ++i) {
    const char c = static_cast<char>(text[i] | 0x20);
    const int digit = c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= '0' && c <= '9' ? c - '0' : -1;
    if (digit < 0) return duk_type_error(context, "expected a colour such as #FF8800");
    if (i == 6) colour.numbers[3] = 0;
    colour.numbers[i / 2] += digit / 255.0 * (i % 2 == 0 ? 16 : 1);
  }
  PushOperand(context, colour);
  return 1;
}

}  // namespace

bool ReadOperand(duk_context* context, duk_idx_t index, ScriptOperand& operand) {
  operand.list = false;
  operand.text = false;
  operand.count = 1;
  if (duk_is_number(context, index) || duk_is_boolean(context, index)) {
    operand.numbers[0] = duk_to_number(context, index);
    return true;
  }
  if (duk_is_string(context, index)) {
    duk_dup(context, index);
    operand.numbers[0] = duk_to_number(context, -1);
    operand.text = true;
    duk_pop(context);
    return true;
  }
  if (!duk_is_object(context, index) || duk_is_function(context, index)) return false;
  if (!duk_is_array(context, index)) {
    // A boxed number or text.
    duk_dup(context, index);
    duk_to_primitive(context, -1, DUK_HINT_NONE);
    const bool text = duk_is_string(context, -1) != 0;
    const bool number = duk_is_number(context, -1) != 0;
    if (number) operand.numbers[0] = duk_get_number(context, -1);
    if (text) operand.numbers[0] = duk_to_number(context, -1);
    operand.text = text;
    duk_pop(context);
    return number || text;
  }
  operand.list = true;
  const duk_size_t count = duk_get_length(context, index);
  // Lists of any length may be made by a script; those that movies have are short.
  if (count > ScriptValue::kMostNumbers) return false;
  operand.count = static_cast<uint32_t>(count);
  for (uint32_t i = 0; i < operand.count; ++i) {
    duk_get_prop_index(context, index, i);
    operand.numbers[i] = duk_to_number(context, -1);
    duk_pop(context);
  }
  return true;
}

void PushOperand(duk_context* context, const ScriptOperand& operand) {
  if (!operand.list) {
    duk_push_number(context, operand.numbers[0]);
    return;
  }
  duk_push_array(context);
  for (uint32_t i = 0; i < operand.count; ++i) {
    duk_push_number(context, operand.numbers[i]);
    duk_put_prop_index(context, -2, i);
  }
}

void AddFunction(duk_context* context, const char* name, duk_c_function function, duk_idx_t count,
                 int magic) {
  duk_push_c_function(context, function, count);
  duk_set_magic(context, -1, magic);
  duk_put_global_string(context, name);
}

void AddVectorFunctions(duk_context* context) {
  static constexpr struct {
    const char* name;
    duk_c_function function;
    duk_idx_t arguments;
    int magic;
  } kFunctions[] = {
      {"$bm_sum", CalculateBoth, 2, int(Calculation::kAdd)},
      {"$bm_sub", CalculateBoth, 2, int(Calculation::kSubtract)},
      {"$bm_mul", CalculateBoth, 2, int(Calculation::kMultiply)},
      {"$bm_div", CalculateBoth, 2, int(Calculation::kDivide)},
      {"sum", CalculateBoth, 2, int(Calculation::kAdd)},
      {"add", CalculateBoth, 2, int(Calculation::kAdd)},
      {"sub", CalculateBoth, 2, int(Calculation::kSubtract)},
      {"mul", CalculateBoth, 2, int(Calculation::kMultiply)},
      {"div", CalculateBoth, 2, int(Calculation::kDivide)},
      {"$bm_mod", Remainder, 2, 0},
      {"mod", Remainder, 2, 0},
      {"$bm_neg", Negate, 1, 0},
      {"length", Length, 2, 0},
      {"normalize", Normalize, 1, 0},
      {"dot", Dot, 2, 0},
      {"cross", Cross, 2, 0},
      {"lookAt", LookAt, 2, 0},
      {"clamp", ClampTo, 3, 0},
      {"degreesToRadians", ToRadians, 1, 0},
      {"degrees_to_radians", ToRadians, 1, 0},
      {"radiansToDegrees", ToRadians, 1, 1},
      {"radians_to_degrees", ToRadians, 1, 1},
      {"linear", OnTheWay, 5, int(Curve::kLinear)},
      {"ease", OnTheWay, 5, int(Curve::kEase)},
      {"easeIn", OnTheWay, 5, int(Curve::kEaseIn)},
      {"easeOut", OnTheWay, 5, int(Curve::kEaseOut)},
      {"rgbToHsl", RgbToHsl, 1, 0},
      {"hslToRgb", HslToRgb, 1, 0},
      {"hexToRgb", HexToRgb, 1, 0},
  };
  for (const auto& each : kFunctions) {
    AddFunction(context, each.name, each.function, each.arguments, each.magic);
  }
}

}  // namespace plexion_host::movie
