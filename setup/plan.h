#pragma once

// What the installation is to do. The first action makes the plan, and hands it as a text to those
// that change the machine, which see no properties.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "setup/registration.h"

namespace veltrane {

struct Plan {
  std::wstring program;       // the path that the service's executable has, or is to have
  std::wstring conf;          // the configuration file of the tunnel
  bool has_service = false;   // the control service is this product's, or is to be
  bool ends_tunnel = false;   // any tunnel may be brought down; a removal may do so with its own
  bool makes_folder = false;  // the folder above that of the configuration file is not there
  Registration before;
  Registration after;  // unless the product is removed

  bool operator==(const Plan&) const = default;
};

// Writes a plan as a text without zeros, and reads it again. nullopt for a text that is none.
std::wstring PackPlan(const Plan& plan);
std::optional<Plan> UnpackPlan(const std::wstring& text);

}  // namespace veltrane
