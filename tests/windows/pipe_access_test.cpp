// Who may open the control pipe.

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <memory>

#include "tests/windows/clean_machine.h"
#include "tests/windows/pipe_connection.h"

namespace veltrane::windows_tests {
namespace {

using PipeAccess = ServedMachine;

std::string ToText(char* local_text) {
  const std::unique_ptr<char, decltype(&LocalFree)> owner(local_text, &LocalFree);
  return local_text;
}

using Descriptor = std::unique_ptr<void, decltype(&LocalFree)>;

Descriptor DescriptorOf(HANDLE pipe) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  EXPECT_EQ(GetSecurityInfo(pipe, SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                            nullptr, nullptr, &descriptor),
            DWORD{ERROR_SUCCESS});
  return {descriptor, &LocalFree};
}

// The pipe's access list in the security descriptor definition language.
std::string AccessListOf(HANDLE pipe) {
  const Descriptor descriptor = DescriptorOf(pipe);
  char* text = nullptr;
  EXPECT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorA(
      descriptor.get(), SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr));
  return ToText(text);
}

// The SID of the user who runs this test, who is the one of the console session.
std::string OwnSid() {
  HANDLE token = nullptr;
  EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
  alignas(TOKEN_USER) BYTE buffer[256];
  DWORD size = 0;
  EXPECT_TRUE(GetTokenInformation(token, TokenUser, buffer, sizeof(buffer), &size));
  CloseHandle(token);
  char* text = nullptr;
  EXPECT_TRUE(ConvertSidToStringSidA(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, &text));
  return ToText(text);
}

TEST_F(PipeAccess, IsGivenToSystemAdministratorsAndTheConsoleUserInThisOrder) {
  const PipeConnection connection;
  EXPECT_EQ(AccessListOf(connection.Handle()),
            "D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;0xc0100000;;;" + OwnSid() + ")");
}

// The bits are those of Windows for a list that somebody has set; a copy that is read is in one
// piece.
TEST_F(PipeAccess, IsNeitherDefaultedNorInheritedNorProtected) {
  const PipeConnection connection;
  const Descriptor descriptor = DescriptorOf(connection.Handle());
  SECURITY_DESCRIPTOR_CONTROL control = 0;
  DWORD revision = 0;
  EXPECT_TRUE(GetSecurityDescriptorControl(descriptor.get(), &control, &revision));
  EXPECT_EQ(control, SE_DACL_PRESENT | SE_SELF_RELATIVE);
}

}  // namespace
}  // namespace veltrane::windows_tests
