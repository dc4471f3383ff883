#include "client/text/quoting.h"

namespace veltrane {
namespace {

TEST(Quoting, ATextThatLooksLikeAKeyIsHidden) {
  EXPECT_EQ(Shown("vpn.example"), "vpn.example");
  EXPECT_EQ(Shown("a" + std::string(38, '/') + "b"), "(hidden, 40 characters)");
  EXPECT_EQ(Shown(std::string(39, 'x')), std::string(39, 'x'));
}

}  // namespace
}  // namespace veltrane
