#include "tests/faults/story.h"

namespace veltrane::faults {

std::vector<Story> AllStories() {
  std::vector<Story> all;
  for (const auto& stories :
       {ConnectStories(), RefusalStories(), TunnelStories(), ProcessStories()}) {
    all.insert(all.end(), stories.begin(), stories.end());
  }
  return all;
}

}  // namespace veltrane::faults
