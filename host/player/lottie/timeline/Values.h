#ifndef HOST_PLAYER_LOTTIE_TIMELINE_VALUES_H_
#define HOST_PLAYER_LOTTIE_TIMELINE_VALUES_H_

#include <limits>
#include <vector>

#include "host/player/lottie/document/Model.h"
#include "host/player/lottie/timeline/Outline.h"

/// What properties are worth at a moment.

namespace plexion_host::movie {

constexpr double kForever = std::numeric_limits<double>::infinity();

/// The time around a moment in which nothing that was asked for changes: from `from` until just
/// before `to`, in frames of one composition.
struct Constancy {
  double from = -kForever;
  double to = kForever;

  void Meet(double otherFrom, double otherTo) {
    if (otherFrom > from) from = otherFrom;
    if (otherTo < to) to = otherTo;
  }
  bool Holds(double time) const { return time >= from && time < to; }
};

/// Gives properties with expressions their values. Each operation meets `constancy` with the time in
/// which the expression gives the same: all of it where it asks for nothing that changes.
class PropertyScripts {
 public:
  virtual ~PropertyScripts() = default;
  /// How often expressions have used what changes in another composition than their own. While this
  /// grows, a composition that stands still may change all the same.
  virtual uint64_t OutsideReads() const { return 0; }
  /// `values` has what the keys say, and gets what the expression makes of it; `owner` is whoever
  /// the properties belong to, see Moment. Returns  false when it failed: `values` is as it was.
  virtual bool Run(const Property& property, const void* owner, double time, float* values,
                   Constancy& constancy) = 0;
  virtual bool RunPath(const PathProperty& property, const void* owner, double time,
                       Outline& outline, Constancy& constancy) = 0;
  /// A text whose keys and expression `source` holds, as the document has it ("d" of a text layer).
  virtual bool RunText(const JsonValue& source, const void* owner, double time, std::string& text,
                       Constancy& constancy) = 0;
  /// An expression selector: how much of its animator part `index` (from 1) of `total` gets.
  virtual bool RunSelector(std::string_view expression, const void* owner, double time, int index,
                           int total, double percent[3], Constancy& constancy) = 0;
};

/// The keys' value alone, `property.dims` numbers.
void ValueAt(const Property& property, double time, float* values, Constancy& constancy);
void PathAt(const PathProperty& property, double time, Outline& outline, Constancy& constancy);

/// How far between 0 and 1 an easing is at `progress`; overshoots where its curve does.
double Eased(const Easing& easing, double progress);

/// A time at which properties are asked for their values.
struct Moment {
  double time = 0;                     ///< frames of the composition
  Constancy* constancy = nullptr;      ///< met with that of every value that is asked for
  PropertyScripts* scripts = nullptr;  ///< null: keys only
  const void* owner = nullptr;

  /// One number; `otherwise` when there is no such property.
  double Number(const Property* property, double otherwise) const;
  /// Up to `count` numbers, which keep what they had where the property has none.
  void Numbers(const Property* property, float* values, uint32_t count) const;
  /// All of a property's numbers.
  void All(const Property& property, std::vector<float>& values) const;
  void Path(const PathProperty& property, Outline& outline) const;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TIMELINE_VALUES_H_
