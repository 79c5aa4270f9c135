// What the tests of this folder share: what stat(1) and getfacl(1) say about a file, and log lines
// without what differs from run to run.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/commands.h"
#include "support/files.h"

// Owner of nothing and no one in the databases.
constexpr unsigned STRANGER_UID = 54321;
constexpr unsigned STRANGER_GID = 54322;

// stat(1) of a path, of the link itself unless `follow`.
std::string statOf(const std::string& format, const std::string& path, bool follow = false);
// "<seconds>.<9 digits>", as stat(1) prints it, in nanoseconds.
std::int64_t nanoseconds(const std::string& decimal);

// The lines of takeLogWithoutLines, with the address that setfsid logs replaced by "@ADDRESS".
std::vector<std::string> takeLines();
// "tid:" and the kernel's id of this thread.
std::string tid();
// The lines getStat logs: on success, and for a failing lstat and a failing stat of a link target.
std::string statLine(const std::string& path, bool resolveLink = false);
std::string lstatFailed(const std::string& path, int err, bool resolveLink);
std::string targetFailed(const std::string& path, int err);
// The line of dump_gid for this thread.
std::string groupsLine(const std::string& prefix);
// The line of a switch of identity.
std::string identityLine(unsigned fromUid, unsigned fromGid, unsigned toUid, unsigned toGid);

// How the failed-path diagnosis describes a component that can be stat'ed. Its access ACL, and the
// default one of a directory, are those of a link's target: they are read by path.
std::string described(const std::string& path, bool resolveLink = false);
// Only its first line: record and names. `record` is the file whose status is printed, normally
// `path` itself.
std::string describedRecord(const std::string& path, const std::string& record,
                            bool resolveLink = false);
