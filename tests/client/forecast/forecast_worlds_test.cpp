#include "client/forecast/forecast.h"
#include "tests/client/forecast/situations.h"
#include "tests/support/on_machine.h"

// The worst over all worlds, and the settings that would settle it.

namespace veltrane {
namespace {

class SeveralWorlds : public OnMachine {
 protected:
  SeveralWorlds() { office_.allowed_ips = "0.0.0.0/1, 128.0.0.0/1"; }

  // Adds a world and says which of its possible values each setting has in it.
  void Add(World world, const std::array<std::size_t, 4>& choices) {
    world.choices = choices;
    office_.worlds.push_back(world);
  }

  Situation office_ = [] {
    Situation office = Office();
    office.worlds.clear();
    return office;
  }();
};

TEST_F(SeveralWorlds, HaveTheWorstVerdictWhereverItStands) {
  Add(BypassWorld({"203.0.113.5"}), {0, 0, 0, 0});
  Add(World(), {0, 0, 1, 0});
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel; "
            "settled by ADMIN_BYPASS_IP");
  std::swap(office_.worlds[0], office_.worlds[1]);
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel; "
            "settled by ADMIN_BYPASS_IP");
}

TEST_F(SeveralWorlds, HaveNoSettingThatWouldSettleWhatIsTheSameInAll) {
  Add(BypassWorld({"203.0.113.5"}), {0, 0, 0, 0});
  Add(World(), {0, 0, 1, 0});
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "stays, proved; now 12 on the link; after 12 on the link");
}

TEST_F(SeveralWorlds, AreSettledByTheGuard) {
  office_.allowed_ips = "0.0.0.0/0";
  Add(World(), {0, 0, 0, 0});
  Add(GuardWorld(), {1, 0, 0, 0});
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, slash zero 0.0.0.0/0; now 12 through 192.168.1.1; settled by "
            "VELTRANE_POC_DISABLE_DEFAULT_ROUTE");
}

TEST_F(SeveralWorlds, AreSettledByTheSwitch) {
  Add(World(), {0, 0, 0, 0});
  Add(BypassWorld({}), {0, 1, 0, 0});
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel; "
            "settled by VELTRANE_POC_ADMIN_BYPASS");
}

TEST_F(SeveralWorlds, AreSettledByEachSettingAlongWhichTheVerdictChanges) {
  Add(World(), {0, 0, 0, 0});
  Add(BypassWorld({"203.0.113.5"}), {0, 0, 1, 0});
  Add(BypassWorld({"203.0.113.5"}), {0, 0, 0, 1});
  Add(BypassWorld({"203.0.113.5", "203.0.113.5"}), {0, 0, 1, 1});
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel; "
            "settled by ADMIN_BYPASS_IP; settled by ADMIN_BYPASS_IPS");
}

TEST_F(SeveralWorlds, AreNotSettledByASettingThatOnlyChangesTogetherWithAnother) {
  Add(World(), {0, 0, 0, 0});
  Add(World(), {0, 1, 0, 0});
  Add(BypassWorld({"203.0.113.5"}), {0, 0, 1, 0});
  Add(BypassWorld({"203.0.113.5"}), {0, 1, 1, 0});
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "tunnel, network taken 128.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel; "
            "settled by ADMIN_BYPASS_IP");
}

TEST_F(SeveralWorlds, AreUnknownRatherThanRefused) {
  Add(BypassWorld({}), {0, 0, 0, 0});
  Add(World(), {0, 1, 0, 0});
  office_.tunnel_today = TunnelToday::kUnknown;
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "unknown, older tunnel; now 12 on the link; settled by VELTRANE_POC_ADMIN_BYPASS; "
            "replaces a tunnel");
}

TEST_F(SeveralWorlds, AreRefusedRatherThanProved) {
  Add(World(), {0, 0, 0, 0});
  Add(BypassWorld({}), {0, 1, 0, 0});
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "refused, refusal admin_bypass_failed (no_admin_bypass_ips); now 12 on the link; "
            "settled by VELTRANE_POC_ADMIN_BYPASS");
}

TEST_F(SeveralWorlds, AreUndoneRatherThanRefused) {
  office_.interfaces.push_back(LabelledTunnel(kTunnel));
  office_.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "10.8.0.1", kTunnel, 900));
  Add(BypassWorld({}), {0, 0, 0, 0});
  Add(GuardWorld(), {1, 0, 0, 0});
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "undone, tunnel default route poc_default_route_detected "
            "(poc_default_route_detected); now 12 on the link; settled by "
            "VELTRANE_POC_DISABLE_DEFAULT_ROUTE");
}

TEST_F(SeveralWorlds, AreUnknownRatherThanUndone) {
  office_.interfaces.push_back(LabelledTunnel(kTunnel));
  office_.ipv4_routes->push_back(RouteTo("0.0.0.0/0", "10.8.0.1", kTunnel, 900));
  office_.tunnel_today = TunnelToday::kUnknown;
  Add(GuardWorld(), {1, 0, 0, 0});
  Add(World(), {0, 0, 0, 0});
  EXPECT_EQ(Forecast(office_, "192.168.1.50"),
            "unknown, older tunnel; now 12 on the link; replaces a tunnel");
}

TEST_F(SeveralWorlds, AreMovesRatherThanUnknown) {
  AddSecondAdapter(office_);
  office_.allowed_ips = "10.66.66.0/24";
  office_.tunnel_today = TunnelToday::kUnknown;
  office_.ipv4_routes->push_back(RouteTo("203.0.113.0/24", "192.168.2.1", kSecond, 7));
  Add(World(), {0, 0, 0, 0});
  Add(BypassWorld({"203.0.113.5"}), {0, 0, 1, 0});
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "moves, pinned elsewhere; now 13 through 192.168.2.1; after 12 through 192.168.1.1; "
            "settled by ADMIN_BYPASS_IP; replaces a tunnel");
}

TEST_F(SeveralWorlds, AreTunnelRatherThanMoves) {
  AddSecondAdapter(office_);
  Add(BypassWorld({"203.0.113.5"}), {0, 0, 1, 0});
  Add(World(), {0, 0, 0, 0});
  EXPECT_EQ(Forecast(office_, Connected("203.0.113.5", "192.168.2.10")),
            "tunnel, network taken 128.0.0.0/1; now 13 through 192.168.2.1; after the new tunnel; "
            "settled by ADMIN_BYPASS_IP; may survive");
}

TEST_F(SeveralWorlds, AreBlockedRatherThanAnythingElse) {
  office_.allowed_ips = "128.0.0.0/1, ::/0";
  office_.address = "203.0.113.9/32";
  Add(GuardWorld(), {1, 0, 0, 0});
  Add(World(), {0, 0, 0, 0});
  EXPECT_EQ(Forecast(office_, "203.0.113.5"),
            "blocked, slash zero ::/0; now 12 through 192.168.1.1; settled by "
            "VELTRANE_POC_DISABLE_DEFAULT_ROUTE");
}

TEST_F(SeveralWorlds, TakeAConnectThatIsUnclearForOneThatGoesOn) {
  office_.rdp_peers.reset();
  Add(BypassWorld({}), {0, 0, 0, 0});
  EXPECT_EQ(Forecast(office_, "192.168.1.50"), "unknown, pin unclear; now 12 on the link");
  EXPECT_EQ(Forecast(office_, "2001:db8::5"), "unknown, pin unclear; now 12 through fe80::1");
  EXPECT_EQ(Forecast(office_, "10.1.2.3"),
            "tunnel, network taken 0.0.0.0/1; now 12 through 192.168.1.1; after the new tunnel");
}

}  // namespace
}  // namespace veltrane
