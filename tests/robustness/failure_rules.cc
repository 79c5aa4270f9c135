#include "robustness/failure_rules.h"

#include <cerrno>
#include <filesystem>

namespace {

using Effect = FailureRule::Effect;

constexpr const char* FILE_PATH = "/dir/file";
constexpr const char* CHANGED = "/dir/changed";
constexpr const char* CHANGED_FILE = "/dir/changedFile";
constexpr const char* MISSING = "/dir/missing/below/it";

std::vector<FailureRule> statusRules() {
  return {
      {.native = "getUser",
       .call = "getpwuid_r",
       .effect = Effect::RAISES,
       .messages = {""},
       .err = EINVAL},
      {.native = "getGroup",
       .call = "getgrgid_r",
       .effect = Effect::RAISES,
       .messages = {""},
       .err = EINVAL},
      {.native = "getUid",
       .call = "getpwnam_r",
       .effect = Effect::RAISES,
       .messages = {"root", "zorf_nobody_knows_this_user"},
       .err = EINVAL},
      {.native = "getGid",
       .call = "getgrnam_r",
       .effect = Effect::RAISES,
       .messages = {"root", "zorf_nobody_knows_this_user"},
       .err = EINVAL},
      // setFsUid(String) hands out a handle without a switch.
      {.native = "getFileStatusNative",
       .call = "lstat",
       .effect = Effect::RAISES,
       .messages = {"/dir/link", FILE_PATH, MISSING},
       .last = 1},
      {.native = "getFileStatusNative",
       .call = "stat",
       .effect = Effect::RAISES,
       .messages = {"/dir/link"},
       .last = 1},
      {.native = "getINum",
       .call = "stat",
       .effect = Effect::RAISES,
       .messages = {"stat failed for /dir/file", "stat failed for /dir/missing/below/it"}},
      {.native = "getLinkTargetNative",
       .call = "readlink",
       .effect = Effect::RAISES,
       .messages = {""}},
      // One step further up.
      {.native = "getFailedPathNative",
       .call = "lstat",
       .effect = Effect::RETURNS,
       .messages = {"\"/dir\""},
       .last = 1,
       .situation = ""},
      {.native = "getFailedPathNative",
       .call = "stat",
       .effect = Effect::RETURNS,
       .messages = {"\"/dir\""},
       .last = 1,
       .situation = ""},
      {.native = "getFailedPathNative",
       .call = "lstat",
       .effect = Effect::RETURNS,
       .messages = {'"' + std::filesystem::temp_directory_path().string() + '"'},
       .first = 4,
       .last = 4,
       .situation = "missing file"},
      // A table or a line of it that can't be read has no match.
      {.native = "getFsName",
       .call = "setmntent",
       .effect = Effect::RAISES,
       .messages = {"/zorf"},
       .err = 0,
       .situation = ""},
      {.native = "getFsName",
       .call = "getdelim",
       .effect = Effect::RAISES,
       .messages = {"/zorf"},
       .last = 2,
       .err = 0,
       .situation = ""},
      {.native = "getFsName",
       .call = "getmntent_r",
       .effect = Effect::RAISES,
       .messages = {"/zorf"},
       .err = 0,
       .situation = ""},
      {.native = "setPermission",
       .call = "chmod",
       .effect = Effect::RAISES,
       .messages = {CHANGED_FILE}},
  };
}

std::vector<FailureRule> blockRules() {
  std::vector<FailureRule> rules = {
      {.native = "setReplication", .call = "open", .effect = Effect::RAISES, .messages = {""}},
      {.native = "setReplication",
       .call = "zorf_fcntl",
       .effect = Effect::RAISES,
       .messages = {"failed to set replication for /dir/file replication 2"}},
      {.native = "setReplication",
       .call = "zorf_restripe_file",
       .effect = Effect::RAISES,
       .messages = {"failed to restripe file /dir/file replication 2"}},
      {.native = "setBGF", .call = "open", .effect = Effect::RAISES, .messages = {""}},
      {.native = "setBGF",
       .call = "zorf_fcntl",
       .effect = Effect::RAISES,
       .messages = {"Failed to set BGF for /dir/file"}},
      {.native = "getLocatedFileStatusNative",
       .call = "lstat",
       .effect = Effect::RAISES,
       .messages = {FILE_PATH, MISSING, "/dir/link"},
       .last = 1},
      {.native = "getLocatedFileStatusNative",
       .call = "open",
       .effect = Effect::RAISES,
       .messages = {""}},
      {.native = "getLocatedFileStatusNative",
       .call = "zorf_fcntl",
       .effect = Effect::RAISES,
       .messages = {""}},
      // Counts as no ACL.
      {.native = "getLocatedFileStatusNative", .call = "getxattr", .effect = Effect::UNCHECKED},
  };
  for (const char* native : {"getBlockLocationsNative", "getBlockSizeNative"}) {
    for (const char* call : {"lstat", "open", "zorf_fcntl"}) {
      const std::string name = call;
      rules.push_back({.native = native,
                       .call = call,
                       .effect = Effect::RAISES,
                       .messages = {FILE_PATH, MISSING},
                       .last = name == "lstat" ? 1 : 1 << 30});
    }
  }
  return rules;
}

std::vector<FailureRule> xattrRules() {
  const auto raises = [](const char* native, const char* call, const char* message) {
    return FailureRule{
        .native = native, .call = call, .effect = Effect::RAISES, .messages = {message}};
  };
  return {
      raises("setExtendedAttribute", "setxattr", "setxattr failed."),
      raises("removeXAttr", "getxattr", "zorf_removexattrs failed."),
      raises("removeXAttr", "removexattr", "zorf_removexattrs failed."),
      raises("listXAttrs", "listxattr", "zorf_listxattrs failed."),
      raises("getXAttrs", "getxattr", "zorf_getxattrs failed."),
      raises("dumpXAttrs", "listxattr", "zorf_dumpxattrs failed."),
      raises("dumpXAttrs", "getxattr", "zorf_dumpxattrs failed."),
  };
}

std::vector<FailureRule> aclRules() {
  std::vector<FailureRule> rules = {
      // Described, not raised, in the diagnosis of a failure that has been raised.
      {.native = "getAclStatus",
       .call = "lstat",
       .effect = Effect::RAISES,
       .messages = {"/dir/directory", MISSING},
       .last = 1},
      {.native = "removeAcl",
       .call = "acl_get_file",
       .effect = Effect::RAISES,
       .messages = {MISSING},
       .last = 1,
       .situation = "missing file"},
  };
  // The first of both errors stays.
  for (const char* call : {"acl_init", "acl_get_entry", "acl_set_file"}) {
    rules.push_back(
        {.native = "removeAcl", .call = call, .effect = Effect::NONE, .situation = "missing file"});
  }
  for (const char* native :
       {"setAcl", "modifyAclEntries", "removeAclEntries", "removeDefaultAcl", "removeAcl"}) {
    for (const char* call : {"acl_init", "acl_create_entry", "acl_get_entry", "acl_get_tag_type",
                             "acl_set_tag_type", "acl_get_qualifier", "acl_set_qualifier",
                             "acl_get_file", "acl_set_file", "acl_calc_mask"}) {
      // Entries of a specification belong to no file.
      rules.push_back({.native = native,
                       .call = call,
                       .effect = Effect::RAISES,
                       .messages = {"", CHANGED, MISSING}});
    }
    rules.push_back({.native = native,
                     .call = "acl_check",
                     .effect = Effect::RAISES,
                     .messages = {"acl_valid fails"}});
    for (const char* call : {"acl_get_permset", "acl_get_perm", "acl_add_perm", "acl_copy_entry",
                             "acl_delete_entry", "acl_to_text", "acl_error"}) {
      rules.push_back({.native = native, .call = call, .effect = Effect::UNCHECKED});
    }
  }
  for (const char* call :
       {"acl_get_file", "acl_get_entry", "acl_get_tag_type", "acl_get_qualifier"}) {
    rules.push_back({.native = "getAclStatus",
                     .call = call,
                     .effect = Effect::RAISES,
                     .messages = {"/dir/directory"},
                     .situation = ""});
  }
  for (const char* call : {"acl_get_permset", "acl_get_perm"}) {
    rules.push_back(
        {.native = "getAclStatus", .call = call, .effect = Effect::UNCHECKED, .situation = ""});
  }
  return rules;
}

const std::vector<FailureRule>& allRules() {
  static const std::vector<FailureRule> rules = [] {
    std::vector<FailureRule> all;
    for (const auto& some : {statusRules(), blockRules(), xattrRules(), aclRules()}) {
      all.insert(all.end(), some.begin(), some.end());
    }
    return all;
  }();
  return rules;
}

}  // namespace

FailureRule ruleFor(const NativeCall& native, const std::string& call, int nth, int err) {
  // The buffer is doubled and the database asked again.
  if (err == ERANGE && call.ends_with("_r")) return {};
  // The file is opened again.
  if (call == "open" && (err == EINTR || err == EAGAIN)) return {};
  // A line of the mount table that there is no memory for could be the one that is meant.
  if (call == "getdelim" && err == ENOMEM) {
    return {.effect = Effect::RAISES, .messages = {""}};
  }
  // A quota has words of its own.
  if (call == "setxattr" && err == EDQUOT) {
    return {.effect = Effect::RAISES, .messages = {"setxattr failed for disk quota exceeded"}};
  }
  // A default ACL that may not be read counts as none.
  if (call == "acl_get_file" && err == EACCES && nth == 2 && native.situation.empty()) {
    if (native.native == "getAclStatus") {
      return {.effect = Effect::RETURNS, .messages = {"64 bytes"}};
    }
    return {};
  }
  for (const FailureRule& rule : allRules()) {
    if (rule.native == native.native && rule.call == call && nth >= rule.first &&
        nth <= rule.last && (rule.situation == "*" || rule.situation == native.situation)) {
      return rule;
    }
  }
  return {};
}

int reportedErrno(const FailureRule& rule, int err) {
  if (rule.err != -1) return rule.err;
  // What is not a directory can't hold the file.
  const bool ofGetStat = rule.call == "lstat" || (rule.call == "stat" && rule.native != "getINum");
  return ofGetStat && err == ENOTDIR ? ENOENT : err;
}
