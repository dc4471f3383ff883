#pragma once

#include <memory>

namespace veltrane {

// Gives back what the system handed out, with the function that is due to it.
template <auto Close>
struct Closer {
  template <typename T>
  void operator()(T* resource) const noexcept {
    Close(resource);
  }
};

// Owns a resource of the system and closes it once, with the object; movable, and null when it owns
// nothing. INVALID_HANDLE_VALUE counts as something: a call that answers with it is tested before
// its handle is owned.
template <typename T, auto Close>
using Owner = std::unique_ptr<T, Closer<Close>>;

}  // namespace veltrane
