// The mount table, as far as the cluster file system is concerned.
#pragma once

#include <optional>
#include <string>

// The device name of the last "zorf" mount in /etc/mtab (getmntent(3)) whose directory equals
// `mountPoint` byte for byte; none when there is no such line or no table.
std::optional<std::string> zorfDeviceAt(const std::string& mountPoint);
