#pragma once

// What can be read of the settings of the registered service.

#include <array>
#include <cstdint>
#include <string>

#include "client/survey/service_settings.h"

namespace veltrane {

// A variable in a stored environment.
struct StoredValue {
  std::uint32_t error = 0;  // of reading it as the service does; the text counts when it is 0
  std::string text;
  bool expandable = false;  // is, or may be, of type REG_EXPAND_SZ, into which each reader puts
                            // variables of its own
};

using StoredSettings = std::array<StoredValue, kSettingNames.size()>;

struct RegisteredFacts {
  ServiceEnvironment own;
  bool own_is_proved = false;     // the service's process has it, or will have it at the next start
  bool stored_is_proved = false;  // the control manager has the stored environments as they are now
  StoredSettings machine;
  StoredSettings account;
};

// Reads them: the values first and the times after them, so that a value that is written meanwhile
// is not proved.
RegisteredFacts ReadRegisteredFacts();

}  // namespace veltrane
