#pragma once

// Situations in which networks, routes and settings overlap on purpose.

#include <cstdint>
#include <random>
#include <string>

#include "client/forecast/forecast.h"

namespace veltrane {

// A situation, and the settings that its worlds were listed from.
struct RandomCase {
  KnownSettings settings;
  Situation situation;
};

class RandomCases {
 public:
  // `blank_percent` is how often each thing that may be unknown is.
  RandomCases(std::uint64_t seed, unsigned blank_percent)
      : random_(seed), blank_percent_(blank_percent) {}

  RandomCase Next();
  KnownSettings NextSettings();

  // Returns a number below `count`.
  std::size_t Below(std::size_t count);

 private:
  bool Chance(unsigned percent) { return Below(100) < percent; }
  std::string OneOf(const std::vector<std::string>& texts) { return texts[Below(texts.size())]; }
  std::uint32_t Metric();

  std::vector<IpRoute> Ipv4Routes();
  std::vector<IpRoute> Ipv6Routes();
  std::vector<InterfaceFacts> Interfaces();
  std::optional<Way> Gateway();
  Subject NextSubject();
  void FillPeople(Situation& situation);
  void FillTunnels(Situation& situation);
  void FillProfile(Situation& situation);

  std::mt19937_64 random_;
  unsigned blank_percent_;
};

// "203.0.113.5", "2001:db8::5". Ends the program for any other text.
IpAddress Address(const std::string& text);

// "203.0.113.5/32", next hop (empty for none), interface, metric.
IpRoute Route(const std::string& network, const std::string& next_hop,
              std::uint32_t interface_index, std::uint32_t metric);

// What a person needs to see why two forecasts differ.
std::string Describe(const Situation& situation);
std::string Describe(const Subject& subject);
std::string Describe(ForecastVerdict verdict);

}  // namespace veltrane
