#include "tests/fuzz/report_members.h"

namespace veltrane {
namespace {

const std::vector<Member> kEntryMembers = {
    {"ip"},
    {"source"},
    {"required", Kind::kFlag},
};

const std::vector<Member> kDetailMembers = {
    {"ip"},
    {"source"},
    {"required", Kind::kFlag},
    {"add_attempted", Kind::kFlag},
    {"already_exists", Kind::kFlag},
    {"add_success", Kind::kFlag},
    {"win32_error_code", Kind::kNumber},
    {"error_message"},
    {"gateway"},
    {"interface_index"},
    {"existing_route_gateway"},
    {"existing_route_interface_index"},
    {"route_verify_success", Kind::kFlag},
    {"failure_reason"},
};

}  // namespace

const std::vector<Member> kBypassMembers = {
    {"enabled", Kind::kFlag},
    {"attempted", Kind::kFlag},
    {"applied", Kind::kFlag},
    {"routes_ready_before_tunnel", Kind::kFlag},
    {"route_readded_after_tunnel", Kind::kFlag},
    {"required_enforced", Kind::kFlag},
    {"skipped_for_safe_mode", Kind::kFlag},
    {"auto_stop_seconds", Kind::kNumber},
    {"client_ip", Kind::kText, false},
    {"gateway", Kind::kText, false},
    {"message", Kind::kText, false},
    {"failure_reason", Kind::kText, false},
    {"rdp_tcp_remote_addresses", Kind::kTexts, false},
    {"admin_env_ips", Kind::kTexts, false},
    {"selected_admin_bypass_ips", Kind::kTexts, false},
    {"selected_bypass_ip_entries", Kind::kObjects, false, &kEntryMembers},
    {"physical_default_gateway_before_tunnel", Kind::kText, false},
    {"physical_interface_index_before_tunnel", Kind::kText, false},
    {"route_add_results", Kind::kText, false},
    {"route_add_results_detail", Kind::kObjects, false, &kDetailMembers},
    {"route_verify_before_tunnel", Kind::kText, false},
    {"route_verify_after_tunnel", Kind::kText, false},
};

const std::vector<Member> kGuardMembers = {
    {"effective_disable_default_route", Kind::kFlag},
    {"poc_route_guard_failed", Kind::kFlag},
    {"poc_default_route_detected", Kind::kFlag},
    {"poc_env_read_failed", Kind::kFlag},
    {"rdp_session_active", Kind::kFlag},
    {"auto_stop_scheduled", Kind::kFlag},
    {"auto_stop_seconds", Kind::kNumber},
    {"effective_auto_stop_seconds", Kind::kNumber},
    {"process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE"},
    {"machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE"},
    {"user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE"},
    {"process_env_VELTRANE_POC_AUTO_STOP_SECONDS"},
    {"machine_env_VELTRANE_POC_AUTO_STOP_SECONDS"},
    {"user_env_VELTRANE_POC_AUTO_STOP_SECONDS"},
    {"generated_allowed_ips_before", Kind::kText, false},
    {"generated_allowed_ips_after", Kind::kText, false},
    {"default_routes_before_tunnel", Kind::kText, false},
    {"default_routes_after_tunnel", Kind::kText, false},
    {"rdp_routes_before_tunnel", Kind::kText, false},
    {"rdp_routes_after_tunnel", Kind::kText, false},
    {"offending_default_route", Kind::kText, false},
    {"failure_reason", Kind::kText, false},
    {"message", Kind::kText, false},
    {"auto_stop_deadline_utc", Kind::kText, false},
};

const std::string kUnaskedGuardReport =
    R"("poc_route_guard":{"effective_disable_default_route":false,"poc_route_guard_failed":false,)"
    R"("poc_default_route_detected":false,"poc_env_read_failed":false,"rdp_session_active":false,)"
    R"("auto_stop_scheduled":false,"auto_stop_seconds":0,"effective_auto_stop_seconds":0,)"
    R"("process_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("machine_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("user_env_VELTRANE_POC_DISABLE_DEFAULT_ROUTE":"",)"
    R"("process_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("machine_env_VELTRANE_POC_AUTO_STOP_SECONDS":"",)"
    R"("user_env_VELTRANE_POC_AUTO_STOP_SECONDS":""})";

}  // namespace veltrane
