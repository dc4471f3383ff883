#pragma once

// What happens on the machine around the program: networks, administrators, settings, other
// programs, and the tunnel library. It changes the machine directly, between two turns.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/simulated/machine.h"
#include "tests/simulation/random.h"

namespace veltrane::simulation {

class Surroundings {
 public:
  static constexpr std::uint32_t kTunnelInterface = 20;

  Surroundings(simulated::Machine& machine, Random& random);

  // One thing happens; says what.
  std::string Happen();

  // What the process environment of a new process is.
  std::string MakeEnvironment();

  // The exit code to which the tunnel's library leads, for the process that was prepared last.
  int LibraryAnswers() const;

  // Windows restarts: services are down, marked ones gone, and so are the routes that are not
  // permanent.
  void Restart();

  // Services do not start or stop at once, or one is held; another program has active.conf open.
  bool HasOddServices() const;
  bool HasOddFiles() const { return !held_file_.empty(); }

  // Whether the tunnel's library has just done more to the routes than it was told.
  bool TakeMischief();

 private:
  std::string ChangeDefaultRoute();
  std::string ChangeHostRoute();
  std::string ChangeAdapter();
  std::string ChangeAdministrators();
  std::string ChangeSession();
  std::string ChangeSetting();
  std::string ChangeServices();
  std::string ChangeTunnel();
  std::string ChangeFile();
  void BringTunnelUp();
  void RemoveRoutes(const std::function<bool(const ForwardRow&)>& condition);
  void AddOnce(const ForwardRow& row);

  simulated::Machine& machine_;
  Random& random_;
  struct Habit {           // of whoever sets a variable
    std::uint32_t seldom;  // set at one start of the program in so many; 0: never
    std::wstring favourite;
  };

  std::vector<Habit> habits_;  // one a variable
  bool odd_modes_ = false;
  bool holds_service_ = false;
  enum class TunnelLibrary { kNone, kOther, kTunnel };
  TunnelLibrary library_;
  bool names_tunnel_ = false;  // the tunnel's adapter has a name that says so
  bool mischief_ = false;
  std::wstring held_file_;
};

}  // namespace veltrane::simulation
