// What the tests of this folder's natives share.
#pragma once

#include <string>

#include "core/status/status_fixture.h"
#include "support/java_values.h"
#include "support/jvm.h"
#include "zorf_native.h"

#define ZORF_CALL(method) Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_##method

// The log line of a native's own site.
std::string nativeLine(const std::string& level, const std::string& method,
                       const std::string& text);

// The line of handle_error.
std::string errorLine(int err, const std::string& message);
