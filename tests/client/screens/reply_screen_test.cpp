#include "client/screens/screens.h"

namespace veltrane {
namespace {

const Painter kPlain(false);

TEST(ReplyScreen, AReplyCannotControlTheTerminal) {
  Reply reply;
  reply.ok = true;
  reply.phase = "connected";
  reply.node_id = "\x1b[2Jfra-1\n";
  EXPECT_EQ(ReplyScreen(reply, kPlain), "connected to \xEF\xBF\xBD[2Jfra-1\xEF\xBF\xBD\n");
}

TEST(ReplyScreen, AnErrorWithoutReportsIsShort) {
  Reply reply;
  reply.error = "tunnel_start_failed";
  reply.message = "StartService tunnel failed";
  EXPECT_EQ(ReplyScreen(reply, kPlain),
            "refused: tunnel_start_failed\n  reason          StartService tunnel failed\n");
}

}  // namespace
}  // namespace veltrane
