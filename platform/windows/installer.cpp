#include "platform/installer.h"

#include <windows.h>

#include <msi.h>
#include <msiquery.h>

#include "platform/windows/utf16.h"

namespace veltrane {
namespace {

static_assert(sizeof(MSIHANDLE) == sizeof(std::uint32_t));

void Send(MSIHANDLE session, INSTALLMESSAGE kind, const std::string& line) {
  const MSIHANDLE record = MsiCreateRecord(1);
  if (record == 0) return;
  // Field 0 is the format of the message, so that nothing in the line is taken for one.
  MsiRecordSetStringW(record, 0, L"[1]");
  MsiRecordSetStringW(record, 1, ToUtf16(line).c_str());
  MsiProcessMessage(session, kind, record);
  MsiCloseHandle(record);
}

}  // namespace

std::wstring InstallerSession::Property(const std::wstring& name) const {
  wchar_t none[] = L"";
  DWORD length = 0;
  if (MsiGetPropertyW(handle_, name.c_str(), none, &length) != ERROR_MORE_DATA) return {};
  std::wstring value(++length, L'\0');
  if (MsiGetPropertyW(handle_, name.c_str(), value.data(), &length) != ERROR_SUCCESS) return {};
  value.resize(length);
  return value;
}

bool InstallerSession::SetProperty(const std::wstring& name, const std::wstring& value) {
  return MsiSetPropertyW(handle_, name.c_str(), value.c_str()) == ERROR_SUCCESS;
}

void InstallerSession::Note(const std::string& line) { Send(handle_, INSTALLMESSAGE_INFO, line); }

void InstallerSession::Explain(const std::string& line) {
  Send(handle_, static_cast<INSTALLMESSAGE>(INSTALLMESSAGE_ERROR | MB_OK | MB_ICONERROR), line);
}

}  // namespace veltrane
