#pragma once

// The record behind the opaque SecurityAttributes of platform/security.h.

#include <windows.h>

#include "platform/security.h"
#include "platform/windows/handles.h"

namespace veltrane {

struct SecurityAttributes {
  LocalMemory<ACL> access_list;
  LocalMemory<void> descriptor;  // refers to access_list
  SECURITY_ATTRIBUTES record{};  // refers to descriptor
};

static_assert(sizeof(SECURITY_ATTRIBUTES) == 24);

}  // namespace veltrane
