#pragma once

// The addresses from which the machine is administered. Pure functions.

#include <string>
#include <vector>

#include "client/forecast/situation.h"

namespace veltrane {

struct SubjectSources {
  std::vector<IpConnection> connections;
  std::vector<std::string> setting_values;  // of ADMIN_BYPASS_IP and ADMIN_BYPASS_IPS
  std::vector<IpAddress> asked;
  std::vector<IpAddress> session_clients;
  std::vector<Subject> prompt = {};
};

// Lists the subjects: the connections and then those of the prompt, each pair of remote and local
// address once for either, and in the order of the other sources each other address once that has
// not been named before. A token of a value that is not an address is passed over.
std::vector<Subject> ListSubjects(const SubjectSources& sources);

}  // namespace veltrane
