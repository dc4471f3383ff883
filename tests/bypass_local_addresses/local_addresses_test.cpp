// The machine's own public addresses are no candidates. The program reads them once in the life of
// a process: in the tests of OwnAddresses every machine has the same ones, and each of the others
// asks its questions in a new process.

#include <cstdio>
#include <cstdlib>
#include <thread>

#include <gtest/gtest.h>

#include "bypass/apply.h"
#include "bypass/candidates.h"
#include "tests/bypass/record_texts.h"
#include "tests/support/on_machine.h"

namespace veltrane {
namespace {

using Strings = std::vector<std::string>;

class OwnAddresses : public OnMachine {
 protected:
  OwnAddresses() {
    machine.routes.AddPhysicalNetwork();
    for (const char* own : {"203.0.113.80", "100.64.0.9", "127.0.0.1", "198.51.100.80"}) {
      machine.routes.AddAdapterAddress(own);
    }
  }

  static Strings Collect() { return Texts(CollectBypassCandidates()); }
};

TEST_F(OwnAddresses, AreDroppedFromEverySource) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.80,203.0.113.5");
  machine.environment.SetProcess(L"ADMIN_BYPASS_IPS", L"198.51.100.80 203.0.113.6");
  machine.connections.AddEstablished(3389, "203.0.113.80");
  machine.connections.AddEstablished(3389, "203.0.113.7");
  machine.sessions.AddActive(2, "100.64.0.9");
  machine.sessions.AddActive(3, "203.0.113.8");
  EXPECT_EQ(
      Collect(),
      (Strings{"203.0.113.5 ADMIN_BYPASS_IP required", "203.0.113.6 ADMIN_BYPASS_IPS required",
               "203.0.113.7 RDP_TCP_ESTABLISHED required", "203.0.113.8 WTS optional"}));
}

TEST_F(OwnAddresses, AloneRefuseTheBypassForWantOfAnAddressAndStayInTheRawLists) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.80");
  machine.connections.AddEstablished(3389, "203.0.113.80");
  MarkConnectRequested();
  const AdminBypassState state = ApplyAdminBypass(false);
  EXPECT_EQ(state.failure_reason, "no_admin_bypass_ips");
  EXPECT_EQ(state.rdp_tcp_remote_addresses, R"(["203.0.113.80"])");
  EXPECT_EQ(state.admin_env_ips, R"(["203.0.113.80"])");
  EXPECT_EQ(state.selected_admin_bypass_ips, "[]");
}

TEST_F(OwnAddresses, AreReadOnceAndNeverRefreshed) {
  machine.environment.SetProcess(L"ADMIN_BYPASS_IP", L"203.0.113.80,203.0.113.81");
  Collect();
  machine.routes.AddAdapterAddress("203.0.113.81");
  machine.calls.Clear();
  EXPECT_EQ(Collect(), Strings{"203.0.113.81 ADMIN_BYPASS_IP required"});
  EXPECT_EQ(machine.calls.Count("ReadAdapterAddresses"), 0u);
}

// Each body runs in a process of its own: a child that starts anew and runs this one test.
class NewProcessDeathTest : public OwnAddresses {
 protected:
  NewProcessDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  // Offers an address and tells whether it became a candidate.
  static bool Accepts(const std::string& ip) {
    BypassCandidateMap candidates;
    AddBypassCandidate(candidates, ip, "WTS", false);
    return candidates.contains(ip);
  }

  static void Expect(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "not so: %s\n", what);
    std::_Exit(1);
  }

  std::size_t Readings() const { return machine.calls.Count("ReadAdapterAddresses"); }
};

TEST_F(NewProcessDeathTest, ReadsTheAddressesForTheFirstPublicAddressOnly) {
  EXPECT_EXIT(
      {
        Expect(!Accepts("192.168.1.20") && Readings() == 0, "a private address needs no reading");
        Expect(!Accepts("203.0.113.80") && Readings() == 1, "the first public one needs it");
        Expect(Accepts("203.0.113.5") && Readings() == 1, "the second one does not");
        std::_Exit(0);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(NewProcessDeathTest, AddressGainedBeforeTheFirstReadingIsTheMachinesOwn) {
  EXPECT_EXIT(
      {
        Expect(!Accepts("192.168.1.20"), "a private address is dropped");
        machine.routes.AddAdapterAddress("203.0.113.81");
        Expect(!Accepts("203.0.113.81"), "the gained address is dropped");
        std::_Exit(0);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(NewProcessDeathTest, AdaptersThatCannotBeReadAtFirstExcludeNothingForGood) {
  EXPECT_EXIT(
      {
        machine.Fail("ReadAdapterAddresses", 1, 5);
        Expect(Accepts("203.0.113.80"), "nothing is excluded");
        Expect(Accepts("198.51.100.80") && Readings() == 1, "nothing is excluded later");
        std::_Exit(0);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(NewProcessDeathTest, AddressesAreReadOnceByThreadsThatComeAtTheSameTime) {
  EXPECT_EXIT(
      {
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i) {
          threads.emplace_back([] { Expect(!Accepts("203.0.113.80"), "every thread drops it"); });
        }
        for (std::thread& thread : threads) thread.join();
        Expect(Readings() == 1, "one reading");
        std::_Exit(0);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace veltrane
