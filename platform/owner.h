#pragma once

// The owner of one resource of the system.

#include <memory>

namespace veltrane {

// A deleter that calls the function which releases this kind of resource.
template <auto Close>
struct Closer {
  template <typename T>
  void operator()(T* resource) const noexcept {
    Close(resource);
  }
};

// Owns a resource and closes it exactly once, in its destructor; movable, and null when it owns
// nothing. INVALID_HANDLE_VALUE is not null: test for it before handing a handle to an owner.
template <typename T, auto Close>
using Owner = std::unique_ptr<T, Closer<Close>>;

}  // namespace veltrane
