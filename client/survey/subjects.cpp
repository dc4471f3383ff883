#include "client/survey/subjects.h"

#include <algorithm>

#include "bypass/candidates.h"
#include "client/forecast/networks.h"

namespace veltrane {
namespace {

void AddOnce(const Subject& subject, std::vector<Subject>& subjects) {
  if (std::find(subjects.begin(), subjects.end(), subject) == subjects.end()) {
    subjects.push_back(subject);
  }
}

void AddAddress(const IpAddress& address, SubjectReason reason, std::vector<Subject>& subjects) {
  const bool is_known =
      std::any_of(subjects.begin(), subjects.end(),
                  [&address](const Subject& subject) { return subject.address == address; });
  if (!is_known) subjects.push_back({.address = address, .reason = reason, .local = {}});
}

}  // namespace

std::vector<Subject> ListSubjects(const SubjectSources& sources) {
  std::vector<Subject> subjects;
  for (const IpConnection& connection : sources.connections) {
    AddOnce(ConnectedSubject(connection, SubjectReason::kRdpConnection), subjects);
  }
  for (const Subject& subject : sources.prompt) AddOnce(subject, subjects);
  for (const std::string& value : sources.setting_values) {
    for (const std::string& token : SplitAddressList(value)) {
      const std::optional<IpAddress> address = ParseAddress(token);
      if (address) AddAddress(*address, SubjectReason::kSetting, subjects);
    }
  }
  for (const IpAddress& address : sources.asked) {
    AddAddress(address, SubjectReason::kAsked, subjects);
  }
  for (const IpAddress& address : sources.session_clients) {
    AddAddress(address, SubjectReason::kRdpSession, subjects);
  }
  return subjects;
}

}  // namespace veltrane
