// What Windows is asked, where a machine shows nothing of it or Wine knows no answer.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "guard/settings.h"
#include "platform/connections.h"
#include "platform/routing.h"
#include "platform/service_codes.h"
#include "platform/services.h"
#include "tests/platform_windows/system_answers.h"
#include "tunnel/own_service.h"

namespace veltrane {
namespace {

class Question : public testing::Test {
 protected:
  SystemAnswers answers;
};

// ---- tables

class QuestionForATable : public Question {
 protected:
  QuestionForATable() {
    Append(answers.table, DWORD{0});
    answers.adapters = {{}};
  }
};

TEST_F(QuestionForATable, OfRoutesIsForASortedOne) {
  EXPECT_TRUE(ReadForwardTable());
  EXPECT_EQ(answers.table_calls,
            (std::vector<TableCall>{{.size = 0, .sorted = TRUE}, {.size = 4, .sorted = TRUE}}));
}

TEST_F(QuestionForATable, OfConnectionsIsForAnUnsortedOneOfIpv4) {
  EXPECT_TRUE(ReadTcpConnections());
  EXPECT_EQ(answers.table_calls,
            (std::vector<TableCall>{{0, FALSE, AF_INET, 4}, {4, FALSE, AF_INET, 4}}));
}

TEST_F(QuestionForATable, OfAdaptersSkipsAnycastAndMulticast) {
  EXPECT_TRUE(ReadAdapterAddresses());
  EXPECT_EQ(answers.adapter_flags, (std::vector<ULONG>{6, 6}));
}

TEST_F(QuestionForATable, WhoseSizeQuerySucceedsIsUnanswered) {
  answers.size_status = NO_ERROR;
  EXPECT_FALSE(ReadForwardTable());
  EXPECT_FALSE(ReadTcpConnections());
  EXPECT_FALSE(ReadAdapterAddresses());
}

TEST_F(QuestionForATable, WhoseSizeQueryFailsAsTheOtherKindDoesIsUnanswered) {
  answers.size_status = ERROR_BUFFER_OVERFLOW;
  EXPECT_FALSE(ReadForwardTable());
  EXPECT_FALSE(ReadTcpConnections());
  answers.size_status = ERROR_INSUFFICIENT_BUFFER;
  EXPECT_FALSE(ReadAdapterAddresses());
}

TEST_F(QuestionForATable, ThatGrowsMeanwhileIsUnanswered) {
  answers.growth = 1;
  EXPECT_FALSE(ReadForwardTable());
  EXPECT_FALSE(ReadTcpConnections());
  EXPECT_FALSE(ReadAdapterAddresses());
}

// ---- several adapters

TEST_F(Question, ForTheMachinesAddressesIsAnsweredByEveryAdapterInOrder) {
  std::vector<sockaddr_in> ipv4(4);
  for (std::size_t i = 0; i < ipv4.size(); ++i) {
    ipv4[i].sin_family = AF_INET;
    ipv4[i].sin_addr.s_addr = static_cast<ULONG>(101 + i);
  }
  sockaddr_in6 ipv6{};
  ipv6.sin6_family = AF_INET6;
  const auto address = [](auto& socket_address) {
    return SOCKET_ADDRESS{reinterpret_cast<sockaddr*>(&socket_address), sizeof(socket_address)};
  };
  answers.adapters = {{address(ipv4[0]), address(ipv6), address(ipv4[1])},
                      {},
                      {address(ipv6)},
                      {address(ipv4[2]), address(ipv4[3])}};
  EXPECT_EQ(ReadAdapterAddresses(), (std::vector<std::uint32_t>{101, 102, 103, 104}));
}

// ---- the environments in the registry

constexpr DWORD kStrings = 0x00000006;  // RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ
constexpr wchar_t kName[] = L"VELTRANE_QUESTION";

TEST_F(Question, ForAVariableIsPutToTheMachineAndThenToTheUser) {
  ReadEnvAllScopes(kName);
  EXPECT_EQ(
      answers.registry_calls,
      (std::vector<RegistryCall>{
          {HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment",
           kName, kStrings, 2048},
          {HKEY_CURRENT_USER, L"Environment", kName, kStrings, 2048}}));
}

TEST_F(Question, ForAVariableIsAnsweredByEachScope) {
  SetEnvironmentVariableW(kName, L"of the process");
  answers.registry[{HKEY_LOCAL_MACHINE, kName}] = L"of the m\u00E4chine";
  answers.registry[{HKEY_CURRENT_USER, kName}] = L"of the user";
  const EnvValue value = ReadEnvAllScopes(kName);
  SetEnvironmentVariableW(kName, nullptr);
  EXPECT_EQ(value.process, "of the process");
  EXPECT_EQ(value.machine,
            "of the m\xC3\xA4"
            "chine");
  EXPECT_EQ(value.user, "of the user");
  EXPECT_EQ(value.effective, "of the process");
  EXPECT_EQ(ReadEnvAllScopes(kName).effective, value.machine);
  answers.registry.erase({HKEY_LOCAL_MACHINE, kName});
  EXPECT_EQ(ReadEnvAllScopes(kName).effective, "of the user");
}

TEST_F(Question, ForAVariableFindsValuesOf1023CharactersAndNoLongerOnes) {
  answers.registry[{HKEY_LOCAL_MACHINE, kName}] = std::wstring(1023, L'm');
  answers.registry[{HKEY_CURRENT_USER, kName}] = std::wstring(1024, L'u');
  const EnvValue value = ReadEnvAllScopes(kName);
  EXPECT_EQ(value.machine, std::string(1023, 'm'));
  EXPECT_EQ(value.user, "");
}

// ---- the service SID type

TEST_F(Question, ForAServiceSidIsForAnUnrestrictedOne) {
  constexpr wchar_t kService[] = L"VeltraneQuestion";
  std::optional<ServiceManager> manager = ServiceManager::Open(kManagerAllAccess);
  ASSERT_TRUE(manager);
  Result<Service> service = manager->Create(OwnServiceSettings(kService, L"C:\\none.exe"));
  ASSERT_TRUE(service);
  EXPECT_TRUE(service->SetSidType(kServiceSidUnrestricted));
  EXPECT_TRUE(service->Delete());
  EXPECT_THAT(answers.sid_types, testing::ElementsAre(testing::Pair(5U, 1U)));
}

}  // namespace
}  // namespace veltrane
