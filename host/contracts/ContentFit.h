// How content takes its place, in the words that operators, documents and the player share.

#ifndef HOST_CONTRACTS_CONTENTFIT_H_
#define HOST_CONTRACTS_CONTENTFIT_H_

#include <optional>
#include <string>
#include <string_view>

namespace plexion_host {

enum class Fit {
  kContain,  ///< as large as fits, in its own shape, centred
  kCover,    ///< nothing of the place is left free; what reaches out of it is cut off
  kStretch,  ///< the place's shape
  kNone      ///< its own size, centred; what reaches out of the place is cut off
};

/// In the order of Fit.
inline constexpr const char* kFitNames[] = {"contain", "cover", "stretch", "none"};
inline constexpr char kFitsExpected[] = "contain, cover, stretch or none";

/// The variable of a content that says it.
inline constexpr char kFitVariable[] = "fit";

inline const char* NameOf(Fit fit) { return kFitNames[static_cast<int>(fit)]; }

inline std::optional<Fit> ReadFit(std::string_view word) {
  for (int i = 0; i < 4; ++i) {
    if (word == kFitNames[i]) return static_cast<Fit>(i);
  }
  return std::nullopt;
}

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_CONTENTFIT_H_
