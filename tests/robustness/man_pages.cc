#include "robustness/man_pages.h"

#include <cerrno>
#include <map>

namespace {

using Errors = std::vector<int>;

Errors operator+(const Errors& a, const Errors& b) {
  Errors both = a;
  both.insert(both.end(), b.begin(), b.end());
  return both;
}

// Of every call that walks a path.
const Errors path = {EACCES, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EIO};
const Errors stat = path + Errors{EOVERFLOW};
const Errors xattr = stat + Errors{ENOTSUP};
const Errors database = {EINTR, EIO, EMFILE, ENFILE, ENOENT, ENOMEM, EPERM, ESRCH, EBADF, ERANGE};
const Errors client = {EACCES, EBADF,  EBUSY,  EDQUOT, EINTR, EINVAL,     EIO,   ENODEV, ENOENT,
                       ENOMEM, ENOSPC, ENOSYS, ENXIO,  EPERM, EOPNOTSUPP, EROFS, ESTALE};

const std::map<std::string, Errors> errors = {
    {"open", path + Errors{EAGAIN, EBUSY, EINTR, EINVAL, EMFILE, ENFILE, ENODEV, ENXIO, EOVERFLOW,
                           EPERM, EROFS, ETXTBSY}},
    {"close", {EBADF, EINTR, EIO, ENOSPC, EDQUOT}},
    {"stat", stat},
    {"lstat", stat},
    {"readlink", path + Errors{EINVAL}},
    {"chmod", path + Errors{EPERM, EROFS, ENOTSUP}},
    {"getxattr", xattr + Errors{E2BIG, ENODATA, ERANGE, EPERM}},
    {"lgetxattr", xattr + Errors{E2BIG, ENODATA, ERANGE, EPERM}},
    {"setxattr",
     xattr + Errors{EDQUOT, EEXIST, EINVAL, ENODATA, ENOSPC, EPERM, ERANGE, E2BIG, EROFS}},
    {"listxattr", xattr + Errors{E2BIG, ERANGE}},
    {"removexattr", xattr + Errors{ENODATA, EPERM, EROFS}},
    {"setmntent", path + Errors{EMFILE, ENFILE, EINTR}},
    {"getdelim", {EIO, ENOMEM}},
    {"getmntent_r", {EIO, ENOMEM}},
    {"sysconf", {EINVAL}},
    {"getpwuid_r", database},
    {"getpwnam_r", database},
    {"getgrgid_r", database},
    {"getgrnam_r", database},
    {"getgrouplist", {ENOMEM, EIO}},
    {"syscall", {EINVAL, ENOMEM, EPERM}},
    {"getgroups", {EINVAL}},
    {"zorf_fcntl", client},
    {"zorf_restripe_file", client},
    {"acl_init", {EINVAL, ENOMEM}},
    {"acl_create_entry", {EINVAL, ENOMEM}},
    {"acl_copy_entry", {EINVAL}},
    {"acl_delete_entry", {EINVAL, ENOSYS}},
    {"acl_get_entry", {EINVAL}},
    {"acl_add_perm", {EINVAL}},
    {"acl_get_permset", {EINVAL}},
    {"acl_calc_mask", {EINVAL, ENOMEM}},
    {"acl_get_qualifier", {EINVAL, ENOMEM}},
    {"acl_set_qualifier", {EINVAL, ENOMEM}},
    {"acl_get_tag_type", {EINVAL}},
    {"acl_set_tag_type", {EINVAL}},
    {"acl_get_file", path + Errors{EINVAL, ENOTSUP}},
    {"acl_set_file", path + Errors{EINVAL, ENOSPC, ENOTSUP, EPERM, EROFS}},
    {"acl_to_text", {EINVAL, ENOMEM}},
    {"acl_check", {EINVAL}},
    {"acl_get_perm", {EINVAL}},
    {"acl_error", {EINVAL}},
};

}  // namespace

std::vector<int> documentedErrors(const std::string& call) {
  const auto found = errors.find(call);
  return found == errors.end() ? Errors{} : found->second;
}

std::vector<std::string> documentedCalls() {
  std::vector<std::string> calls;
  for (const auto& [call, some] : errors) calls.push_back(call);
  return calls;
}
