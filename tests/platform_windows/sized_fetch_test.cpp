// The calls that are made for the size and then for the data.

#include "platform/windows/sized_fetch.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace veltrane {
namespace {

constexpr ULONG kTooSmall = ERROR_INSUFFICIENT_BUFFER;

// One call: whether it had a buffer, of nothing but zeros, and the size that it gave.
struct Call {
  bool has_buffer = false;
  bool is_zeroed = true;
  ULONG size = 0;

  bool operator==(const Call&) const = default;
};

// A function of the system that answers the statuses one after another, the last one for ever, and
// asks for the sizes likewise.
class Function {
 public:
  Function(std::vector<ULONG> statuses, std::vector<ULONG> sizes)
      : statuses_(std::move(statuses)), sizes_(std::move(sizes)) {}

  ULONG operator()(void* buffer, ULONG* size) {
    const auto* bytes = static_cast<const char*>(buffer);
    const bool zeroed =
        buffer == nullptr || std::all_of(bytes, bytes + *size, [](char c) { return c == 0; });
    const std::size_t call = calls.size();
    calls.push_back({buffer != nullptr, zeroed, *size});
    *size = sizes_[std::min(call, sizes_.size() - 1)];
    return statuses_[std::min(call, statuses_.size() - 1)];
  }

  std::vector<Call> calls;

 private:
  std::vector<ULONG> statuses_;
  std::vector<ULONG> sizes_;
};

using Bytes = std::optional<std::vector<std::byte>>;

Bytes Fetch(Function& function) {
  return FetchSized(kTooSmall, [&](void* buffer, ULONG* size) { return function(buffer, size); });
}
Bytes FetchAnySize(Function& function) {
  return FetchGrowing(kTooSmall, [&](void* buffer, ULONG* size) { return function(buffer, size); });
}

TEST(SizedFetch, AsksForTheSizeWithoutABufferAndThenForTheDataWithZerosOfThatSize) {
  Function function({kTooSmall, NO_ERROR}, {300});
  EXPECT_EQ(Fetch(function)->size(), 300U);
  EXPECT_EQ(function.calls, (std::vector<Call>{{false, true, 0}, {true, true, 300}}));
}

TEST(SizedFetch, FailsWhenTheSizeQuerySucceeds) {
  Function function({NO_ERROR}, {300});
  EXPECT_EQ(Fetch(function), std::nullopt);
  EXPECT_EQ(function.calls.size(), 1U);
}

TEST(SizedFetch, FailsWhenTheSizeQueryFailsOtherwise) {
  Function function({ERROR_BUFFER_OVERFLOW, NO_ERROR}, {300});
  EXPECT_EQ(Fetch(function), std::nullopt);
  EXPECT_EQ(function.calls.size(), 1U);
}

TEST(SizedFetch, FailsWithoutAnotherAttemptWhenTheDataHasGrownOrCannotBeRead) {
  for (const ULONG status : {kTooSmall, ULONG{ERROR_NOT_ENOUGH_MEMORY}}) {
    Function function({kTooSmall, status, NO_ERROR}, {300, 400});
    EXPECT_EQ(Fetch(function), std::nullopt);
    EXPECT_EQ(function.calls.size(), 2U);
  }
}

TEST(GrowingFetch, AsksAgainWithTheSizeThatWasAskedForLast) {
  Function function({kTooSmall, kTooSmall, NO_ERROR}, {300, 400, 400});
  EXPECT_EQ(FetchAnySize(function)->size(), 400U);
  EXPECT_EQ(function.calls,
            (std::vector<Call>{{false, true, 0}, {true, true, 300}, {true, true, 400}}));
}

TEST(GrowingFetch, GivesUpAfterEightCalls) {
  Function function({kTooSmall}, {300});
  EXPECT_EQ(FetchAnySize(function), std::nullopt);
  EXPECT_EQ(function.calls.size(), 8U);
}

TEST(GrowingFetch, FailsWhenACallWithoutABufferSucceedsOrAnyFailsOtherwise) {
  Function empty({NO_ERROR}, {0});
  EXPECT_EQ(FetchAnySize(empty), std::nullopt);
  Function denied({kTooSmall, ERROR_ACCESS_DENIED, NO_ERROR}, {300});
  EXPECT_EQ(FetchAnySize(denied), std::nullopt);
  EXPECT_EQ(denied.calls.size(), 2U);
}

}  // namespace
}  // namespace veltrane
