// User and group names and ids, through whatever name services the host has configured.
//
// The lookups return 0, ENOMEM when their buffer can't be allocated, or EINVAL for every other
// failure, a missing entry included; on failure the out arguments are as the caller passed them.
// Reentrant.
#pragma once

#include <string>

int uid_to_usrname(unsigned int uid, std::string& name);
int gid_to_grpname(unsigned int gid, std::string& name);
// `gid` is the user's primary group.
int username_to_uidgid(const std::string& name, unsigned int& uid, unsigned int& gid);
int grpname_to_gid(const std::string& name, unsigned int& gid);

// Both names, each as the id in decimal where there is none. Always returns 0.
int uidgid_to_name(unsigned int uid, unsigned int gid, std::string& user, std::string& group);
