#include "client/exchange/reply.h"

#include "bypass/report.h"
#include "ipc/reports.h"

namespace veltrane {
namespace {

TEST(ReadReply, TakesAPlainEnvelope) {
  const auto reply = ReadReply(R"({"ok":true,"phase":"connected","node_id":"fra-1"})");
  ASSERT_TRUE(reply.has_value());
  EXPECT_TRUE(reply->ok);
  EXPECT_EQ(reply->phase, "connected");
  EXPECT_EQ(reply->node_id, "fra-1");
  EXPECT_FALSE(reply->tunnel_running.has_value());
  EXPECT_FALSE(reply->bypass.has_value());
  EXPECT_FALSE(reply->guard.has_value());
}

TEST(ReadReply, TakesAnError) {
  const auto reply = ReadReply(R"({"ok":false,"error":"unknown_op","message":"x"})");
  ASSERT_TRUE(reply.has_value());
  EXPECT_FALSE(reply->ok);
  EXPECT_EQ(reply->error, "unknown_op");
  EXPECT_EQ(reply->message, "x");
}

TEST(ReadReply, TakesTheBypassReportAsTheServiceWritesIt) {
  AdminBypassState state;
  state.enabled = true;
  state.attempted = true;
  state.auto_stop_seconds = -1;
  state.message = "a \"message\" \\";
  state.admin_env_ips = FormatStringArray({"203.0.113.5", "x\"y"});
  state.selected_bypass_ip_entries =
      FormatBypassEntries({{.ip = "203.0.113.5", .source = "WTS", .required = true}});
  HostRouteResult route;
  route.ip = "203.0.113.5";
  route.win32_error_code = 4294967295;
  route.interface_index = "12";
  state.route_add_results_detail = FormatRouteAddDetails({route});
  const auto reply = ReadReply(AppendReports("{\"ok\":true}", state, RouteGuardResult{}));
  ASSERT_TRUE(reply && reply->bypass);
  EXPECT_TRUE(reply->bypass->state.enabled);
  EXPECT_FALSE(reply->bypass->state.applied);
  EXPECT_EQ(reply->bypass->state.auto_stop_seconds, -1);
  EXPECT_EQ(reply->bypass->state.message, "a \"message\" \\");
  EXPECT_EQ(reply->bypass->admin_tokens, (std::vector<std::string>{"203.0.113.5", "x\"y"}));
  ASSERT_EQ(reply->bypass->selected.size(), 1u);
  EXPECT_EQ(reply->bypass->selected[0].source, "WTS");
  EXPECT_TRUE(reply->bypass->selected[0].required);
  ASSERT_EQ(reply->bypass->routes.size(), 1u);
  EXPECT_EQ(reply->bypass->routes[0].win32_error_code, 4294967295u);
  EXPECT_EQ(reply->bypass->routes[0].interface_index, "12");
}

TEST(ReadReply, TakesTheGuardReportAsTheServiceWritesIt) {
  RouteGuardResult guard;
  guard.effective_disable_default_route = true;
  guard.auto_stop_seconds = 60;
  guard.machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE = "1\"";
  guard.default_routes_before_tunnel = "none";
  const auto reply = ReadReply(AppendReports("{\"ok\":true}", AdminBypassState{}, guard));
  ASSERT_TRUE(reply && reply->guard);
  EXPECT_TRUE(reply->guard->effective_disable_default_route);
  EXPECT_EQ(reply->guard->auto_stop_seconds, 60);
  EXPECT_EQ(reply->guard->machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE, "1\"");
  EXPECT_EQ(reply->guard->default_routes_before_tunnel, "none");
}

TEST(ReadReply, TakesControlCharactersThatTheServiceDoesNotEscape) {
  const auto reply = ReadReply("{\"ok\":true,\"phase\":\"a\nb\tc\"}");
  ASSERT_TRUE(reply.has_value());
  EXPECT_EQ(reply->phase, "a\nb\tc");
}

TEST(ReadReply, ReplacesBytesThatAreNotUtf8) {
  const auto reply = ReadReply("{\"ok\":true,\"phase\":\"a\xFF\"}");
  ASSERT_TRUE(reply.has_value());
  EXPECT_EQ(reply->phase, "a\xEF\xBF\xBD");
}

TEST(ReadReply, MembersOfOtherTypesCountAsMissing) {
  const auto reply = ReadReply(
      R"({"ok":"true","phase":1,"tunnel_running":"yes","admin_bypass":[],"poc_route_guard":null})");
  ASSERT_TRUE(reply.has_value());
  EXPECT_FALSE(reply->ok);
  EXPECT_EQ(reply->phase, "");
  EXPECT_FALSE(reply->tunnel_running.has_value());
  EXPECT_FALSE(reply->bypass.has_value());
  EXPECT_FALSE(reply->guard.has_value());
}

TEST(ReadReply, RefusesAnythingButAnObject) {
  for (const char* text : {"", "[]", "null", "{\"ok\":true", "{\"a\":\"b\"c\"}", "text"}) {
    EXPECT_FALSE(ReadReply(text).has_value()) << text;
  }
}

}  // namespace
}  // namespace veltrane
