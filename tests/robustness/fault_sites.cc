#include "robustness/fault_sites.h"

#include "robustness/answering_client.h"

std::vector<FaultSite> faultSites(const FaultyAcl& acl) {
  std::vector<FaultSite> sites;
  for (const char* name :
       {"open",       "close",        "stat",     "lstat",      "readlink",    "chmod",
        "getxattr",   "lgetxattr",    "setxattr", "listxattr",  "removexattr", "setmntent",
        "getdelim",   "getmntent_r",  "sysconf",  "getpwuid_r", "getpwnam_r",  "getgrgid_r",
        "getgrnam_r", "getgrouplist", "syscall",  "getgroups"}) {
    sites.emplace_back(name);
  }
  for (FaultPoint& point : clientFaults()) sites.emplace_back(point);
  for (FaultPoint* point : acl.faults()) sites.emplace_back(*point);
  return sites;
}
