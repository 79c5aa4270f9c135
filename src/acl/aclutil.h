// libacl, bound at run time: the library starts on hosts without it and links no version of it.
//
// init() runs once, at the end of JNI_OnLoad; afterwards the table is only read, from any thread.
// The pointers must not be called while libacl_handle is null.
#pragma once

#include <acl/libacl.h>
#include <sys/acl.h>

#include <string>

// The functions of the table, in the order of their resolution.
// clang-format off
#define ZORF_LIBACL_FUNCTIONS(F) \
  F(acl_init) F(acl_dup) F(acl_copy_int) F(acl_free) F(acl_create_entry) F(acl_copy_entry) \
  F(acl_delete_entry) F(acl_get_entry) F(acl_valid) F(acl_add_perm) F(acl_clear_perms)     \
  F(acl_delete_perm) F(acl_get_permset) F(acl_set_permset) F(acl_calc_mask)                \
  F(acl_get_qualifier) F(acl_set_qualifier) F(acl_get_tag_type) F(acl_set_tag_type)        \
  F(acl_get_file) F(acl_set_file) F(acl_get_fd) F(acl_set_fd) F(acl_from_text)             \
  F(acl_to_text) F(acl_size) F(acl_copy_ext) F(acl_entries) F(acl_cmp) F(acl_check)        \
  F(acl_equiv_mode) F(acl_get_perm) F(acl_from_mode) F(acl_to_any_text) F(acl_error)
// clang-format on

namespace ACLUtil {

// The dlopen handle, null while libacl is not bound.
extern void* libacl_handle;

#define ZORF_DECLARE(function) extern decltype(&::function) function;
ZORF_LIBACL_FUNCTIONS(ZORF_DECLARE)
#undef ZORF_DECLARE

// Binds "libacl.so.1"; true when bound, now or before. All or nothing: when a function is missing
// the handle is closed and null again.
bool init();

// Closes the library. The pointers keep their values. Nothing in the library calls it.
void uninit();

// Resolves `name` into `*slot`. False when unbound (`error` untouched) or when dlsym fails (`error`
// is the name, ": " and the dlerror text).
bool loadSym(const char* name, void** slot, std::string& error);

}  // namespace ACLUtil
