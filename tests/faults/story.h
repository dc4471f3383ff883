#pragma once

// The stories whose boundary calls are made to fail, one in each run.

#include <functional>
#include <string>
#include <vector>

#include "tests/faults/scene.h"

namespace veltrane::faults {

struct Story {
  std::string name;   // of the file with its table
  std::string title;  // what happens: "A connect with the bypass off"
  std::function<void(Scene&)> arrange;
  std::function<void(Scene&)> act;  // the story: its boundary calls are numbered from here
  // What the last request leads to when nothing fails (see LastWord), or how the process ends:
  // kAborted, "exit 1". Empty: that is not judged.
  std::string leads_to = {};
};

// Every story, in the order of a reader.
std::vector<Story> AllStories();

// Those of one file each.
std::vector<Story> ConnectStories();
std::vector<Story> RefusalStories();
std::vector<Story> TunnelStories();
std::vector<Story> ProcessStories();

}  // namespace veltrane::faults
