// The bytes in which ACLs cross the Java boundary: records of 32-bit integers in host byte order,
// without gaps,
//
//   scope (32768 access, 16384 default), tag, id (of a named user or group only), permissions
//
// From Java a record count stands in front, to Java none does: the reader goes on to the end.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <memory_resource>
#include <vector>

#include "acl/acl.h"

using ACLList = std::vector<std::unique_ptr<ACL>>;

// Adds the records of `in` to the ACLs of `acls`, one per scope, which it creates in the order
// of their first record. Throws IOException at an unknown scope or tag; what came before stays in
// `acls`. Missing bytes at the end count as a field that keeps its previous value, so that a count
// that promises too much ends at an unknown scope.
void convert(std::istream& in, ACLList& acls);

// Adds the entries of `changes` to the ACLs of `path`, or removes them from there. What is left
// after a removal is neither completed nor given a new mask: what the other entries allow stays as
// it is.
enum class Change { ADD, REMOVE };
void changeAcls(const char* path, ACLList& changes, Change change);

// Writes the records of all `acls`.
void convert(ACLList& acls, std::ostream& out);
// Appends the records of one ACL to `fields`: a stream would cost as much as the rest of the work.
void convert(ACL& acl, std::pmr::vector<std::uint32_t>& fields);
