// The access lists of the configuration's folder and files and of the pipe, as Windows is given
// them: Wine maps those of files to Unix permission bits.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ipc/pipe_access.h"
#include "platform/pipes.h"
#include "tests/platform_windows/system_answers.h"
#include "tunnel/active_conf.h"

namespace veltrane {
namespace {

class GivenAccess : public testing::Test {
 protected:
  SystemAnswers answers;
};

// Local System and the Administrators group, each with every right, handed on to files and folders
// inside.
constexpr char kTunnelsList[] = "D:(A;OICI;GA;;;SY)(A;OICI;GA;;;BA)";
// DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION
constexpr SECURITY_INFORMATION kProtectedList = 0x80000004;

TEST_F(GivenAccess, OfAPathIsAProtectedListAlone) {
  EXPECT_TRUE(ApplyTunnelsAcl(L"C:\\any\\path"));
  EXPECT_EQ(answers.access_lists,
            (std::vector<GivenAccessList>{
                {L"C:\\any\\path", SE_FILE_OBJECT, kProtectedList, true, kTunnelsList}}));
}

TEST_F(GivenAccess, OfAPathIsMadeAnewOfTwoEntriesThatAreAllTheirGroupsHave) {
  EXPECT_TRUE(ApplyTunnelsAcl(L"C:\\any\\path"));
  EXPECT_EQ(answers.entries, (std::vector<GivenEntry>{
                                 {"S-1-5-18", GENERIC_ALL, SET_ACCESS, 3, TRUSTEE_IS_GROUP},
                                 {"S-1-5-32-544", GENERIC_ALL, SET_ACCESS, 3, TRUSTEE_IS_GROUP}}));
}

TEST_F(GivenAccess, IsSetOnTheFolderTheTemporaryFileAndTheFile) {
  std::string error;
  SetEnvironmentVariableW(L"ProgramData", L"C:\\VeltraneAccess");
  EXPECT_TRUE(WriteActiveConf({}, &error)) << error;
  EXPECT_TRUE(DeleteFileW(ActiveConfPath().c_str()));
  RemoveDirectoryW(TunnelsFolder().c_str());
  RemoveDirectoryW(L"C:\\VeltraneAccess\\Veltrane");
  RemoveDirectoryW(L"C:\\VeltraneAccess");
  SetEnvironmentVariableW(L"ProgramData", nullptr);
  const std::wstring folder = L"C:\\VeltraneAccess\\Veltrane\\tunnels";
  EXPECT_EQ(answers.access_lists,
            (std::vector<GivenAccessList>{
                {folder, SE_FILE_OBJECT, kProtectedList, true, kTunnelsList},
                {folder + L"\\active.conf.tmp", SE_FILE_OBJECT, kProtectedList, true, kTunnelsList},
                {folder + L"\\active.conf", SE_FILE_OBJECT, kProtectedList, true, kTunnelsList}}));
}

class GivenPipeAccess : public GivenAccess {
 protected:
  GivenPipeSecurity Given(const SecurityAttributes* attributes) {
    EXPECT_FALSE(ServerPipe::Create({L"\\\\.\\pipe\\any", 3, 6, 1, 512, 512, 0}, attributes));
    return answers.pipes.at(0).value();
  }
};

TEST_F(GivenPipeAccess, IsAListThatIsNeitherDefaultedNorInheritedNorProtected) {
  const PipeSecurity security = BuildPipeSecurity();
  const GivenPipeSecurity given = Given(security.get());
  EXPECT_EQ(given.length, 24U);
  EXPECT_FALSE(given.inheritable);
  EXPECT_EQ(given.control, SE_DACL_PRESENT);
  EXPECT_TRUE(given.is_present);
  EXPECT_FALSE(given.is_defaulted);
}

// The user is whoever runs this test, where the system tells.
TEST_F(GivenPipeAccess, IsForSystemThenAdministratorsThenTheConsoleUser) {
  const PipeSecurity security = BuildPipeSecurity();
  EXPECT_THAT(Given(security.get()).descriptor,
              testing::MatchesRegex(R"(D:\(A;;GA;;;SY\)\(A;;GA;;;BA\)\(A;;0xc0100000;;;S-.+\))"));
}

TEST_F(GivenPipeAccess, IsMadeAnewOfEntriesThatAreAllTheirUsersHave) {
  const PipeSecurity security = BuildPipeSecurity();
  ASSERT_EQ(answers.entries.size(), 3U);
  answers.entries[2].sid = "of the console user";
  EXPECT_EQ(answers.entries,
            (std::vector<GivenEntry>{
                {"S-1-5-18", GENERIC_ALL, SET_ACCESS, 0, TRUSTEE_IS_USER},
                {"S-1-5-32-544", GENERIC_ALL, SET_ACCESS, 0, TRUSTEE_IS_USER},
                {"of the console user", 0xC0100000, SET_ACCESS, 0, TRUSTEE_IS_USER}}));
}

TEST_F(GivenPipeAccess, IsTheSystemsOwnWithoutARecord) {
  EXPECT_FALSE(ServerPipe::Create({L"\\\\.\\pipe\\any", 3, 6, 1, 512, 512, 0}, nullptr));
  EXPECT_EQ(answers.pipes, std::vector<std::optional<GivenPipeSecurity>>{std::nullopt});
}

}  // namespace
}  // namespace veltrane
