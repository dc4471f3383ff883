#pragma once

// The bypass records as texts, one member a line: a comparison then shows the member that differs.

#include <cstdint>
#include <string>
#include <vector>

#include "bypass/records.h"

namespace veltrane {

// Writes each member of a record as "name=value".
struct RecordText {
  std::string text;

  void Text(const std::string& name, const std::string& value) {
    text += name + "=" + value + "\n";
  }
  void Flag(const std::string& name, bool value) { Text(name, value ? "true" : "false"); }
  void Number(const std::string& name, std::int64_t value) { Text(name, std::to_string(value)); }
  void OptionalText(const std::string& name, const std::string& value) { Text(name, value); }
  void OptionalArray(const std::string& name, const std::string& value) { Text(name, value); }
};

inline std::string Text(const BypassIpEntry& entry) {
  return entry.ip + " " + entry.source + (entry.required ? " required" : " optional");
}

inline std::vector<std::string> Texts(const std::vector<BypassIpEntry>& entries) {
  std::vector<std::string> texts;
  for (const BypassIpEntry& entry : entries) texts.push_back(Text(entry));
  return texts;
}

inline std::string Text(const HostRouteResult& result) {
  RecordText members;
  ListRouteMembers(result, members);
  return members.text;
}

inline std::string Text(const AdminBypassState& state) {
  RecordText members;
  ListBypassMembers(state, members);
  return members.text;
}

}  // namespace veltrane
