#include "status/status_fixture.h"

std::string nativeLine(const std::string& level, const std::string& method,
                       const std::string& text) {
  return level + " @Java_org_apache_hadoop_hdfs_server_namenode_ZORFNative_" + method + ":# " +
         text;
}

std::string errorLine(int err, const std::string& message) {
  return "debug @handle_error:# " + errorFor(err, message).message;
}
