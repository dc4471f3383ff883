// The clients of a day, and which of the program's calls fail.

#include "tests/simulated/pipe_client.h"
#include "tests/simulation/day.h"
#include "tests/simulation/failures.h"
#include "tests/simulation/invariants.h"

namespace veltrane::simulation {
namespace {

constexpr int kAttempts = 20;
constexpr std::uint32_t kBetweenAttempts = 50;  // milliseconds

bool IsConversion(const std::string& name) {
  return name == "ParseIpv4" || name == "FormatIpv4" || name == "WideToUtf8";
}

// The beginning of a text, without what would break a line.
std::string Beginning(const std::string& text) {
  std::string told;
  for (const char c : text.substr(0, 4000)) {
    told += c >= ' ' && c <= '~' ? std::string(1, c)
                                 : "\\" + std::to_string(static_cast<unsigned char>(c));
  }
  return told;
}

}  // namespace

void Day::BeAClient(int number) {
  const std::string who = "client " + std::to_string(number);
  const auto pause = [this] {
    Pause(weather_.leisure *
          random_.Pick(std::initializer_list<std::uint32_t>{0, 1, 50, 300, 1000, 4000}));
  };
  for (;;) {
    pause();
    if (random_.OneIn(2)) {
      Converse(who, random_.OneIn(4) ? requests_.Odd() : requests_.WellFormed());
      continue;
    }
    // A client that does as docs/protocol.md says.
    Converse(who, requests_.Disconnect());
    Converse(who, requests_.Connect());
    for (std::uint32_t i = random_.Below(4); i > 0; --i) {
      pause();
      Converse(who, requests_.Status());
    }
    if (!random_.OneIn(4)) Converse(who, requests_.Disconnect());
  }
}

void Day::Converse(const std::string& who, const std::string& request) {
  simulated::PipeClient client;
  for (int attempt = 0; client.TryConnect() != 0; ++attempt) {
    if (attempt == kAttempts) return;
    Pause(kBetweenAttempts);
  }
  const std::uint64_t troubles = troubles_;
  baton_.Yield();
  if (random_.OneIn(20)) {
    story_.Tell(Who(who), "connects and goes");
    return;
  }
  if (random_.OneIn(20)) Pause(random_.Below(3000));
  story_.Tell(Who(who), "sends " + std::to_string(request.size()) + " " + Beginning(request));
  client.Send(request);
  if (random_.OneIn(20)) {
    story_.Tell(Who(who), "goes without the reply");
    return;
  }
  if (random_.OneIn(30)) {
    story_.Tell(Who(who), "does not read");
    Pause(random_.Below(5000));
    return;
  }
  const std::string reply = client.ReceiveAll();
  story_.Tell(Who(who), "receives " + Beginning(reply));
  Break(watcher_.OnConversation(
      {.size = request.size(), .has_reply = !reply.empty(), .disturbed = troubles != troubles_}));
}

std::optional<std::uint32_t> Day::Failure(const Thread& thread, const std::string& name) {
  if (thread.role == Role::kPipe && !IsConversion(name)) last_request_call_ = name;
  const bool struck = random_.OneIn(weather_.failure) || name == outage_;
  if (!struck) return std::nullopt;
  // What the process has once read for good must be what the rules expect.
  const bool knows = watcher_.KnowsOwnAddresses() && last_request_call_ != "ReadAdapterAddresses";
  if (IsConversion(name) && (!knows || thread.role != Role::kPipe)) return std::nullopt;
  for (const FailingCall& call : FailingCalls()) {
    if (call.name == name) return random_.Pick(call.statuses);
  }
  return std::nullopt;
}

}  // namespace veltrane::simulation
