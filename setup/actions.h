#pragma once

// The custom actions of the MSI; packaging/msi/product.wxs says when each runs. Each returns
// whether the installation may go on, and explains in the log why not.
//
//   PrepareInstallation     immediate  all refusals, before any change; plans what the others do
//   StopServices            deferred   the tunnel, if it may be stopped, and the control service;
//                                      asks again, as Local System, who can write to the folder
//   RegisterControlService  deferred   registers it, with its start type and settings
//   StartControlService     deferred   if it ran before, or is to start with Windows
//   RemoveServices          deferred   both services, and what they left on the disk
//   RestartControlService   rollback   of StopServices: if it ran before
//   RestoreRegistration     rollback   of the registration or the removal: as it was
//
// The removal of an older version in the course of an upgrade runs none of them. A tunnel that has
// been brought down stays down.

#include "platform/installer.h"

namespace veltrane {

bool PrepareInstallation(InstallerSession& session);
bool StopServices(InstallerSession& session);
bool RegisterControlService(InstallerSession& session);
bool StartControlService(InstallerSession& session);
bool RemoveServices(InstallerSession& session);
bool RestartControlService(InstallerSession& session);
bool RestoreRegistration(InstallerSession& session);

}  // namespace veltrane
