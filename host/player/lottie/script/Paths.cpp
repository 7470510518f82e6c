// Paths as expressions see them: points, tangents, places along them.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "host/player/lottie/script/Machine.h"

namespace plexion_host::movie {

namespace {

const char* const kPathKey = DUK_HIDDEN_SYMBOL("path");
const char* const kClosedKey = DUK_HIDDEN_SYMBOL("closed");
constexpr size_t kMostPoints = 10000;

const double* ThisPath(duk_context* context, size_t& count, bool& closed) {
  duk_push_this(context);
  const double* numbers = PathAt(context, -1, count, closed);
  if (numbers == nullptr || count < 6) (void)duk_type_error(context, "expected a path");
  return numbers;
}

enum Which { kPoints, kIn, kOut };

void PushPair(duk_context* context, double x, double y) {
  duk_push_array(context);
  duk_push_number(context, x);
  duk_put_prop_index(context, -2, 0);
  duk_push_number(context, y);
  duk_put_prop_index(context, -2, 1);
}

/// points(), inTangents() and outTangents(); tangents count from their points.
duk_ret_t Points(duk_context* context) {
  size_t count = 0;
  bool closed = false;
  const double* numbers = ThisPath(context, count, closed);
  ScriptMachine::Of(context).Charge(context, static_cast<double>(count));
  const int magic = duk_get_current_magic(context);
  duk_push_array(context);
  for (size_t i = 0; i + 6 <= count; i += 6) {
    const double* at = numbers + i;
    if (magic == kPoints) {
      PushPair(context, at[0], at[1]);
    } else {
      PushPair(context, at[magic * 2] - at[0], at[magic * 2 + 1] - at[1]);
    }
    duk_put_prop_index(context, -2, static_cast<duk_uarridx_t>(i / 6));
  }
  return 1;
}

duk_ret_t IsClosed(duk_context* context) {
  size_t count = 0;
  bool closed = false;
  ThisPath(context, count, closed);
  duk_push_boolean(context, closed ? 1 : 0);
  return 1;
}

/// pointOnPath(share) and its kin; magic: an OnPath.
duk_ret_t Along(duk_context* context) {
  size_t count = 0;
  bool closed = false;
  const double* numbers = ThisPath(context, count, closed);
  ScriptMachine::Of(context).Charge(context, static_cast<double>(count) * 4);
  const double given = duk_is_undefined(context, 0) ? 0.5 : duk_to_number(context, 0);
  const double share = std::isfinite(given) ? given : 0;
  double pair[2];
  AlongPath(numbers, count, closed, static_cast<OnPath>(duk_get_current_magic(context)), share,
            pair);
  PushPair(context, pair[0], pair[1]);
  return 1;
}

/// x and y of the pair at `position` of the list at `index`; 0 when there is none.
void ReadPair(duk_context* context, duk_idx_t index, size_t position, double pair[2]) {
  pair[0] = pair[1] = 0;
  if (duk_is_object(context, index) == 0) return;
  duk_get_prop_index(context, index, static_cast<duk_uarridx_t>(position));
  if (duk_is_object(context, -1) != 0) {
    for (duk_uarridx_t i = 0; i < 2; ++i) {
      duk_get_prop_index(context, -1, i);
      pair[i] = duk_to_number(context, -1);
      duk_pop(context);
    }
  }
  duk_pop(context);
}

/// (points, tangents in, tangents out, closed)
duk_ret_t CreatePath(duk_context* context) {
  if (duk_is_array(context, 0) == 0) return duk_type_error(context, "expected a list of points");
  const size_t points = duk_get_length(context, 0);
  if (points > kMostPoints) return duk_range_error(context, "too many points");
  ScriptMachine::Of(context).Charge(context, static_cast<double>(points));
  auto* numbers = static_cast<double*>(
      duk_push_fixed_buffer(context, std::max<size_t>(points, 1) * 6 * sizeof(double)));
  for (size_t i = 0; i < points; ++i) {
    double pairs[3][2];
    for (duk_idx_t list = 0; list < 3; ++list) ReadPair(context, list, i, pairs[list]);
    for (size_t k = 0; k < 2; ++k) {
      numbers[6 * i + k] = pairs[0][k];
      numbers[6 * i + 2 + k] = pairs[0][k] + pairs[1][k];
      numbers[6 * i + 4 + k] = pairs[0][k] + pairs[2][k];
    }
  }
  const bool closed = duk_is_undefined(context, 3) != 0 || duk_to_boolean(context, 3) != 0;
  PushPath(context, numbers, points * 6, closed);
  return 1;
}

}  // namespace

void PushPath(duk_context* context, const double* numbers, size_t count, bool closed) {
  duk_push_object(context);
  void* copy = duk_push_fixed_buffer(context, count * sizeof(double));
  if (count > 0) std::memcpy(copy, numbers, count * sizeof(double));
  duk_put_prop_string(context, -2, kPathKey);
  duk_push_boolean(context, closed ? 1 : 0);
  duk_put_prop_string(context, -2, kClosedKey);
  duk_push_global_stash(context);
  duk_get_prop_string(context, -1, "path");
  duk_remove(context, -2);
  duk_set_prototype(context, -2);
}

const double* PathAt(duk_context* context, duk_idx_t index, size_t& count, bool& closed) {
  count = 0;
  if (duk_is_object(context, index) == 0) return nullptr;
  index = duk_normalize_index(context, index);
  duk_get_prop_string(context, index, kClosedKey);
  closed = duk_get_boolean(context, -1) != 0;
  duk_pop(context);
  duk_get_prop_string(context, index, kPathKey);
  duk_size_t bytes = 0;
  const auto* numbers = static_cast<const double*>(duk_get_buffer(context, -1, &bytes));
  duk_pop(context);  // the object keeps it
  count = bytes / sizeof(double);
  return count == 0 ? nullptr : numbers;
}

void AddPaths(duk_context* context) {
  static constexpr struct {
    const char* name;
    duk_c_function function;
    int magic;
  } kOperations[] = {{"points", Points, kPoints},   {"inTangents", Points, kIn},
                     {"outTangents", Points, kOut}, {"isClosed", IsClosed, 0},
                     {"pointOnPath", Along, 0},     {"tangentOnPath", Along, 1},
                     {"normalOnPath", Along, 2}};
  duk_push_global_stash(context);
  duk_push_object(context);
  for (const auto& each : kOperations) {
    duk_push_c_function(context, each.function, 1);
    duk_set_magic(context, -1, each.magic);
    duk_put_prop_string(context, -2, each.name);
  }
  duk_put_prop_string(context, -2, "path");
  duk_pop(context);
  AddFunction(context, "createPath", CreatePath, 4);
}

}  // namespace plexion_host::movie
