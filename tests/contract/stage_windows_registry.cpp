// The stage over Windows: the registry.

#include <windows.h>

#include <sddl.h>

#include "tests/contract/stage_windows.h"

namespace veltrane::contract {
namespace {

struct KeyCloser {
  void operator()(HKEY key) const { RegCloseKey(key); }
};
using UniqueKey = std::unique_ptr<HKEY__, KeyCloser>;

HKEY RootKey(RegistryRoot root) {
  if (root == RegistryRoot::kLocalMachine) return HKEY_LOCAL_MACHINE;
  return root == RegistryRoot::kCurrentUser ? HKEY_CURRENT_USER : HKEY_USERS;
}

// Opens kRegistryKey under HKEY_LOCAL_MACHINE, or a key in it, and makes it when it is missing.
UniqueKey MakeKey(const std::wstring& key, REGSAM access) {
  HKEY handle = nullptr;
  EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, access, nullptr,
                            &handle, nullptr),
            ERROR_SUCCESS);
  return UniqueKey(handle);
}

void SetKeyAccess(HKEY key, const std::wstring& text) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1,
                                                                   &descriptor, nullptr));
  EXPECT_EQ(RegSetKeySecurity(key, DACL_SECURITY_INFORMATION, descriptor), ERROR_SUCCESS);
  LocalFree(descriptor);
}

void PutValue(Stage::State& state, RegistryRoot root, const std::wstring& name, DWORD type,
              const void* value, std::size_t bytes) {
  const HKEY root_key = RootKey(root);
  const std::wstring key = RegistryKeyOf(root);
  EXPECT_EQ(
      RegSetKeyValueW(root_key, key.c_str(), name.c_str(), type, value, static_cast<DWORD>(bytes)),
      ERROR_SUCCESS);
  state.undo.push_back([=] { RegDeleteTreeW(root_key, key.c_str()); });
}

void PutText(Stage::State& state, RegistryRoot root, const std::wstring& name, DWORD type,
             const std::wstring& text) {
  PutValue(state, root, name, type, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

}  // namespace

void Stage::PutRegistryText(RegistryRoot root, const std::wstring& name,
                            const std::wstring& value) {
  PutText(*state_, root, name, REG_SZ, value);
}

void Stage::PutExpandableText(RegistryRoot root, const std::wstring& name,
                              const std::wstring& value) {
  PutText(*state_, root, name, REG_EXPAND_SZ, value);
}

void Stage::PutRegistryNumber(RegistryRoot root, const std::wstring& name, std::uint32_t value) {
  PutValue(*state_, root, name, REG_DWORD, &value, sizeof(value));
}

void Stage::PutRegistryKey(const std::wstring& name) {
  MakeKey(kRegistryKey + std::wstring(L"\\") + name, KEY_QUERY_VALUE);
  state_->undo.push_back([] { RegDeleteTreeW(HKEY_LOCAL_MACHINE, kRegistryKey); });
}

void Stage::ForbidRegistryKey() {
  const auto key = std::make_shared<UniqueKey>(MakeKey(kRegistryKey, WRITE_DAC));
  SetKeyAccess(key->get(), L"D:P");
  state_->undo.push_back([key] { SetKeyAccess(key->get(), L"D:(A;;KA;;;WD)"); });
}

}  // namespace veltrane::contract
