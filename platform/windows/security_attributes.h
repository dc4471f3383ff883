#pragma once

// The definition of SecurityAttributes, which platform/security.h only declares.

#include <windows.h>

#include "platform/security.h"
#include "platform/windows/handles.h"

namespace veltrane {

struct SecurityAttributes {
  LocalMemory<ACL> access_list;
  LocalMemory<void> descriptor;  // points to access_list
  SECURITY_ATTRIBUTES record{};  // points to descriptor
};

static_assert(sizeof(SECURITY_ATTRIBUTES) == 24);

}  // namespace veltrane
