#pragma once

// The Windows Installer session in which a custom action runs.
// Units: texts for the log are UTF-8.
// Threads: the one on which the action was called.
// Windows: "Obtaining Context Information for Deferred Execution Custom Actions",
// "MsiProcessMessage".

#include <cstdint>
#include <string>

namespace veltrane {

class InstallerSession {
 public:
  // Uses the handle that the action was called with, and does not close it.
  explicit InstallerSession(std::uint32_t handle) : handle_(handle) {}

  // Returns a property (MsiGetPropertyW); empty when it is not set, and on failure. An action that
  // runs from the installation script has few of them; "CustomActionData" is one.
  std::wstring Property(const std::wstring& name) const;

  // Sets a property, or removes it with an empty value (MsiSetPropertyW). Returns false on failure.
  bool SetProperty(const std::wstring& name, const std::wstring& value);

  // Writes a line to the log (MsiProcessMessage with INSTALLMESSAGE_INFO). A failure is not
  // reported.
  void Note(const std::string& line);

  // Writes a line to the log and, unless the installation is silent, shows it to the user
  // (MsiProcessMessage with INSTALLMESSAGE_ERROR). A failure is not reported.
  void Explain(const std::string& line);

 private:
  std::uint32_t handle_ = 0;
};

}  // namespace veltrane
