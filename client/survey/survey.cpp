#include "client/survey/survey.h"

#include "client/survey/rdp.h"
#include "client/survey/registered_settings.h"
#include "client/survey/routes.h"
#include "client/survey/subjects.h"
#include "client/survey/tunnel_today.h"

namespace veltrane {
namespace {

struct SurveyedSettings {
  KnownSettings known;
  std::vector<std::string> addresses;  // the values of the two lists that can be seen
};

SurveyedSettings SurveySettings(bool any_server) {
  RegisteredFacts facts;
  if (!any_server) facts = ReadRegisteredFacts();
  SurveyedSettings settings{any_server ? ReadOwnSettings() : FindRegisteredSettings(facts), {}};
  for (const Setting list : {Setting::kAddress, Setting::kAddresses}) {
    const KnownValue& known = settings.known.values[static_cast<std::size_t>(list)];
    if (known) {
      settings.addresses.push_back(*known);
    } else {
      for (std::string& value : ListValuesSeen(facts, list)) {
        settings.addresses.push_back(std::move(value));
      }
    }
  }
  return settings;
}

void SurveyNetwork(Situation& situation) {
  situation.ipv4_routes = SurveyIpv4Routes();
  situation.ipv6_routes = SurveyIpv6Routes();
  situation.own_addresses = ReadOwnAddresses();
  situation.interfaces = SurveyInterfaces(situation);
  situation.gateway = SurveyGateway(situation.ipv4_routes);
  const TunnelFacts tunnel = SurveyTunnel(situation.interfaces);
  situation.tunnel_today = tunnel.today;
  situation.tunnel_interface = tunnel.interface_index;
}

}  // namespace

Survey SurveyMachine(const SurveyQuestion& question) {
  Survey survey;
  Situation& situation = survey.situation;
  SurveyNetwork(situation);
  const RdpConnections rdp = SurveyRdpConnections();
  const SessionClients sessions = SurveySessionClients();
  const SurveyedSettings settings = SurveySettings(question.any_server);
  situation.rdp_peers = rdp.service_peers;
  situation.session_clients = sessions.clients;
  situation.all_sessions_read = sessions.complete;
  situation.worlds = ListWorlds(settings.known);
  situation.allowed_ips = question.allowed_ips;
  situation.address = question.address;
  situation.subjects = ListSubjects({.connections = rdp.connections,
                                     .setting_values = settings.addresses,
                                     .asked = question.asked,
                                     .session_clients = sessions.clients,
                                     .prompt = question.prompt});
  survey.all_connections_read = rdp.complete && sessions.remote.has_value();
  survey.rdp_connections = rdp.connections.size();
  survey.remote_sessions = sessions.remote.value_or(0);
  return survey;
}

std::string UnseenGuestText(const Survey& survey) {
  if (survey.rdp_connections >= survey.remote_sessions) return {};
  return "somebody is connected whom the forecast does not see (active remote sessions: " +
         std::to_string(survey.remote_sessions) +
         ", Remote Desktop connections: " + std::to_string(survey.rdp_connections) + ")";
}

}  // namespace veltrane
