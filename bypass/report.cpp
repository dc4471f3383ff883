#include "bypass/report.h"

#include "text/json_text.h"

namespace veltrane {
namespace {

// Formats each item with `render` and joins the results into a JSON array.
template <typename Item, typename Render>
std::string FormatArray(const std::vector<Item>& items, Render render) {
  std::string text = "[";
  for (const Item& item : items) {
    if (text.size() > 1) text += ",";
    text += render(item);
  }
  return text + "]";
}

std::string FormatEntry(const BypassIpEntry& entry) {
  JsonObject object;
  object.Text("ip", entry.ip);
  object.Text("source", entry.source);
  object.Flag("required", entry.required);
  return object.Written();
}

std::string FormatDetail(const HostRouteResult& result) {
  JsonObject object;
  ListRouteMembers(result, object);
  return object.Written();
}

}  // namespace

std::string FormatStringArray(const std::vector<std::string>& items) {
  return FormatArray(items, [](const std::string& item) { return '"' + EscapeJson(item) + '"'; });
}

std::string FormatBypassEntries(const std::vector<BypassIpEntry>& entries) {
  return FormatArray(entries, FormatEntry);
}

std::string FormatRouteAddDetails(const std::vector<HostRouteResult>& results) {
  return FormatArray(results, FormatDetail);
}

std::string FormatAdminBypassReport(const AdminBypassState& state) {
  JsonObject object;
  ListBypassMembers(state, object);
  return "\"admin_bypass\":" + object.Written();
}

}  // namespace veltrane
