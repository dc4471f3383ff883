#include "tests/faults/account.h"

#include <nlohmann/json.hpp>

namespace veltrane::faults {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Machinery, routes, services, files)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Exchange, request, reply)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Call, name, details, nth)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(RouteEvent, what, route, done)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Setting, read_by, value)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Account, leads_to, settings, administrators, connections, guard,
                                   held, calls, struck, before, phase_before, mode, ending,
                                   exchanges, phase, timer, after, open, serves, admits, routes,
                                   output, error, debugger, states, disconnect, after_disconnect,
                                   connect, after_connect, open_after_connect)

std::string Serialized(const Account& account) {
  return nlohmann::json(account).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

Account Deserialized(const std::string& text) {
  const nlohmann::json value = nlohmann::json::parse(text, nullptr, false);
  return value.is_object() ? value.get<Account>() : Account{};
}

}  // namespace veltrane::faults
