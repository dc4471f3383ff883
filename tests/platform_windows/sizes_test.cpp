// The sizes that Windows returns are checked before what they are of is read.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>
#include <wtsapi32.h>

#include <gtest/gtest.h>

#include "platform/connections.h"
#include "platform/ip_network.h"
#include "platform/routing.h"
#include "platform/sessions.h"
#include "tests/platform_windows/system_answers.h"
#include "tests/support/name_of.h"

namespace veltrane {
namespace {

class Answer : public testing::Test {
 protected:
  SystemAnswers answers;
};

// ---- tables

// A table that claims this number of rows and has that many; connections are established.
template <typename Row>
std::vector<std::byte> Table(DWORD claimed, std::size_t rows) {
  std::vector<std::byte> table;
  Append(table, claimed);
  Row row{};
  if constexpr (requires { row.dwState; }) row.dwState = MIB_TCP_STATE_ESTAB;
  for (std::size_t i = 0; i < rows; ++i) Append(table, row);
  return table;
}

// The number of rows of a table that was read.
template <typename Rows>
std::optional<std::size_t> Count(const std::optional<Rows>& rows) {
  if (!rows) return std::nullopt;
  return rows->size();
}

struct Kind {
  const char* name;
  std::vector<std::byte> (*make)(DWORD claimed, std::size_t rows);
  std::optional<std::size_t> (*read)();
};

class TableOfRows : public Answer, public testing::WithParamInterface<Kind> {
 protected:
  std::optional<std::size_t> Read(DWORD claimed, std::size_t rows) {
    answers.table = GetParam().make(claimed, rows);
    return GetParam().read();
  }
};

TEST_P(TableOfRows, IsReadWhenItHasAsManyRowsAsItClaims) {
  EXPECT_EQ(Read(3, 3), 3U);
  EXPECT_EQ(Read(0, 0), 0U);
}

TEST_P(TableOfRows, MayHaveRoomForMore) { EXPECT_EQ(Read(1, 3), 1U); }

TEST_P(TableOfRows, IsUnreadableWhenItClaimsMoreRowsThanItHas) {
  EXPECT_EQ(Read(4, 3), std::nullopt);
  EXPECT_EQ(Read(1, 0), std::nullopt);
  EXPECT_EQ(Read(0xFFFFFFFF, 3), std::nullopt);
}

TEST_P(TableOfRows, IsUnreadableWhenItsLastRowIsNotWhole) {
  answers.table = GetParam().make(3, 3);
  answers.table.pop_back();
  EXPECT_EQ(GetParam().read(), std::nullopt);
}

TEST_P(TableOfRows, IsUnreadableWhenItEndsBeforeItsNumberOfRows) {
  answers.table.resize(3);
  EXPECT_EQ(GetParam().read(), std::nullopt);
}

const Kind kKinds[] = {
    {"OfRoutes", Table<MIB_IPFORWARDROW>, [] { return Count(ReadForwardTable()); }},
    {"OfConnections", Table<MIB_TCPROW_OWNER_PID>, [] { return Count(ReadTcpConnections()); }},
    {"OfEstablishedConnections", Table<MIB_TCPROW_OWNER_PID>,
     [] { return Count(ReadEstablishedConnections(IpFamily::kIpv4)); }},
    {"OfEstablishedIpv6Connections", Table<MIB_TCP6ROW_OWNER_PID>,
     [] { return Count(ReadEstablishedConnections(IpFamily::kIpv6)); }}};

INSTANTIATE_TEST_SUITE_P(The, TableOfRows, testing::ValuesIn(kKinds), NameOf<Kind>);

// ---- the client of a session

using ClientOfSession = Answer;

std::vector<std::byte> ClientAddressOf(DWORD family) {
  WTS_CLIENT_ADDRESS address{};
  address.AddressFamily = family;
  address.Address[2] = 203;
  address.Address[5] = 5;
  std::vector<std::byte> bytes;
  Append(bytes, address);
  return bytes;
}

TEST_F(ClientOfSession, IsReadFromAWholeStructure) {
  answers.client_address = ClientAddressOf(AF_INET);
  const std::optional<ClientAddress> client = ReadClientAddress(2);
  ASSERT_TRUE(client);
  EXPECT_EQ(client->family, 2U);
  EXPECT_EQ(client->bytes[2], 203);
  EXPECT_EQ(client->bytes[5], 5);
  EXPECT_EQ(answers.client_address_buffers, 0);
}

TEST_F(ClientOfSession, IsUnknownWhenTheStructureIsNotWhole) {
  answers.client_address = ClientAddressOf(AF_INET);
  answers.client_address->pop_back();
  EXPECT_FALSE(ReadClientAddress(2));
  answers.client_address->clear();
  EXPECT_FALSE(ReadClientAddress(2));
  EXPECT_EQ(answers.client_address_buffers, 0);
}

TEST_F(ClientOfSession, IsUnknownWhenTheCallSucceedsWithoutAStructure) {
  EXPECT_FALSE(ReadClientAddress(2));
  EXPECT_EQ(answers.client_address_buffers, 0);
}

// ---- the machine's own addresses

class OwnAddressOfTheMachine : public Answer {
 protected:
  // How many addresses the service finds, and how many the client finds.
  using Found = std::pair<std::size_t, std::size_t>;

  // What they find when Windows says that the address has that many bytes.
  Found FindWith(void* address, int bytes) {
    answers.adapter_address = {static_cast<sockaddr*>(address), bytes};
    return {ReadAdapterAddresses().value().size(), ReadOwnAddresses().value().size()};
  }
};

TEST_F(OwnAddressOfTheMachine, IsReadWhenItIsWhole) {
  sockaddr_in ipv4{};
  ipv4.sin_family = AF_INET;
  EXPECT_EQ(FindWith(&ipv4, 16), Found(1, 1));
  sockaddr_in6 ipv6{};
  ipv6.sin6_family = AF_INET6;
  EXPECT_EQ(FindWith(&ipv6, 28), Found(0, 1));
}

TEST_F(OwnAddressOfTheMachine, IsLeftOutWhenItIsShorterThanItsFamilyNeeds) {
  sockaddr_in ipv4{};
  ipv4.sin_family = AF_INET;
  EXPECT_EQ(FindWith(&ipv4, 15), Found(0, 0));
  EXPECT_EQ(FindWith(&ipv4, 0), Found(0, 0));
  sockaddr_in6 ipv6{};
  ipv6.sin6_family = AF_INET6;
  EXPECT_EQ(FindWith(&ipv6, 27), Found(0, 0));
  EXPECT_EQ(FindWith(nullptr, 16), Found(0, 0));
}

}  // namespace
}  // namespace veltrane
