// platform/ancestors.h

#include "platform/ancestors.h"

#include "platform/watchdog.h"
#include "tests/contract/stage.h"

namespace veltrane::contract {
namespace {

using Ancestors = Contract;

using Names = std::vector<std::string>;

constexpr std::uint32_t kMinute = 60'000;

std::string Narrow(const std::wstring& ascii) { return {ascii.begin(), ascii.end()}; }

Names OwnAncestors() {
  const std::vector<std::wstring> ancestors = ReadAncestors().value();
  Names names;
  for (const std::wstring& name : ancestors) names.push_back(Narrow(name));
  return names;
}

GUEST(TellAncestors) {
  for (const std::string& name : OwnAncestors()) Tell(name);
}

TEST_F(Ancestors, AreTheParentAndThoseOfTheParent) {
  Names names = OwnAncestors();
  names.insert(names.begin(), Narrow(stage.ExecutableFile()));
  EXPECT_EQ(stage.RunInJob(true, TellAncestors).told, names);
}

// A watchdog is the child of its client.
GUEST(OutliveTheParent) {
  WatchPost post = Take(WatchPost::Open());
  for (const std::string& name : OwnAncestors()) Tell(name);
  post.Tell("ready");
  while (post.Wait(kMinute).kind != WatchEventKind::kClientEnded) {
  }
  Tell(Eventually([] { return OwnAncestors().empty(); }) ? "nobody" : "somebody");
}

GUEST(LeaveAChild) {
  Watchdog child = Take(Watchdog::Start(OwnArguments()));
  std::string line;
  child.Hear(kMinute, line);
}

TEST_F(Ancestors, EndBeforeAParentThatHasEnded) {
  NOT_SIMULATED("nobody's parent ends");
  Names arguments = stage.GuestArguments(LeaveAChild);
  for (const std::string& more : stage.GuestArguments(OutliveTheParent)) arguments.push_back(more);
  const Watchdog parent = Take(Watchdog::Start(arguments));
  Names names = OwnAncestors();
  names.insert(names.begin(), 2, Narrow(stage.ExecutableFile()));
  names.emplace_back("nobody");
  EXPECT_TRUE(Eventually([&] { return stage.ToldByGuest() == names; }));
}

}  // namespace
}  // namespace veltrane::contract
