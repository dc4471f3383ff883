#pragma once

// Lists of texts, such as the calls that were made.

#include <initializer_list>
#include <string>
#include <vector>

namespace veltrane {

using Texts = std::vector<std::string>;

// The steps of several passages one after another.
inline Texts Steps(std::initializer_list<Texts> passages) {
  Texts steps;
  for (const Texts& passage : passages) steps.insert(steps.end(), passage.begin(), passage.end());
  return steps;
}

// The beginning of a passage, up to the first step that starts like this.
inline Texts UpTo(const std::string& last, const Texts& passage) {
  Texts steps;
  for (const std::string& step : passage) {
    steps.push_back(step);
    if (step.starts_with(last)) break;
  }
  return steps;
}

}  // namespace veltrane
