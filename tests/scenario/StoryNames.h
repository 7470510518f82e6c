// Stories as parameters of a suite.

#ifndef TESTS_SCENARIO_STORYNAMES_H_
#define TESTS_SCENARIO_STORYNAMES_H_

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "sim/stories/Stories.h"

namespace plexion_sim {

inline void PrintTo(const Story& story, std::ostream* out) { *out << story.name; }

/// A story's name as the name of a test.
inline std::string TestName(const std::string& story) {
  std::string name = story;
  for (char& c : name) {
    if (c == '-') c = '_';
  }
  return name;
}

struct NameOfStory {
  std::string operator()(const ::testing::TestParamInfo<Story>& info) const {
    return TestName(info.param.name);
  }
};

}  // namespace plexion_sim

#endif  // TESTS_SCENARIO_STORYNAMES_H_
