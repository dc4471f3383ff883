#pragma once

// The result of a call that can fail.
// Windows: "System Error Codes".

#include <cstdint>
#include <optional>
#include <utility>

namespace veltrane {

// Win32 errors that more than one function of the boundary returns.
inline constexpr std::uint32_t kErrorFileNotFound = 2;  // ERROR_FILE_NOT_FOUND
inline constexpr std::uint32_t kErrorPathNotFound = 3;  // ERROR_PATH_NOT_FOUND
inline constexpr std::uint32_t kErrorAccessDenied = 5;  // ERROR_ACCESS_DENIED

// A value, or the Win32 error that says why there is none.
template <typename T>
class Result {
 public:
  // NOLINTNEXTLINE(google-explicit-constructor): lets a function return its value directly
  Result(T value) : value_(std::move(value)) {}

  // A result without a value; `error` must not be 0.
  static Result Failure(std::uint32_t error) { return Result(std::nullopt, error); }

  explicit operator bool() const { return value_.has_value(); }
  T& operator*() { return *value_; }
  const T& operator*() const { return *value_; }
  T* operator->() { return &*value_; }
  const T* operator->() const { return &*value_; }

  // Returns the Win32 error, or 0 when there is a value.
  std::uint32_t Error() const { return error_; }

 private:
  Result(std::nullopt_t, std::uint32_t error) : error_(error) {}

  std::optional<T> value_;
  std::uint32_t error_ = 0;
};

}  // namespace veltrane
