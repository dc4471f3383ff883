#pragma once

#include <string>

#include <gtest/gtest.h>

namespace veltrane {

// Names each test of a table after the member `name` of its row.
template <typename Row>
std::string NameOf(const testing::TestParamInfo<Row>& test) {
  return test.param.name;
}

}  // namespace veltrane
