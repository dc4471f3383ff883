#pragma once

// The calls of the boundary that the service never makes.

#include <set>
#include <string_view>

namespace veltrane {

// Those of the client and of the MSI's custom actions.
inline const std::set<std::string_view> kCallsOfOthers = {"ReadRegistryTexts",
                                                          "FindRegistryText",
                                                          "TestExpandableText",
                                                          "ReadRegistryNumber",
                                                          "ListRegistryKeys",
                                                          "ReadKeyWriteTime",
                                                          "ReadProcessStart",
                                                          "ReadIpv6Routes",
                                                          "ReadEstablishedConnections",
                                                          "ReadOwnAddresses",
                                                          "ReadIpv6InterfaceMetric",
                                                          "IsHardwareInterface",
                                                          "ReadOwnUserSid",
                                                          "WriteRegistryTexts",
                                                          "RemoveRegistryValue",
                                                          "RemoveFolder",
                                                          "CreateClosedFolder",
                                                          "Service.ChangeSettings",
                                                          "InstallerSession.Property",
                                                          "InstallerSession.SetProperty"};

}  // namespace veltrane
