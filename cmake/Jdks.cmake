# Finds the JDKs of this machine. The library is built with the headers of one (JAVA_HOME if set,
# else the oldest found); the tests run on every one.
#
# Sets ZORF_JDKS (homes, oldest path first), ZORF_JDK (the one to build with), and makes the
# interface target zorf_jni_headers.

file(GLOB _libjvms LIST_DIRECTORIES false /usr/lib/jvm/*/lib/server/libjvm.so)
if(DEFINED ENV{JAVA_HOME} AND EXISTS $ENV{JAVA_HOME}/lib/server/libjvm.so)
  list(APPEND _libjvms $ENV{JAVA_HOME}/lib/server/libjvm.so)
endif()
set(ZORF_JDKS)
foreach(_libjvm IN LISTS _libjvms)
  file(REAL_PATH ${_libjvm} _libjvm)
  string(REGEX REPLACE "/lib/server/libjvm.so$" "" _home ${_libjvm})
  if(EXISTS ${_home}/bin/javac AND EXISTS ${_home}/include/jni.h)
    list(APPEND ZORF_JDKS ${_home})
  endif()
endforeach()
list(REMOVE_DUPLICATES ZORF_JDKS)
list(SORT ZORF_JDKS)
if(NOT ZORF_JDKS)
  message(FATAL_ERROR "No JDK found: set JAVA_HOME or install openjdk-17-jdk-headless")
endif()
if(DEFINED ENV{JAVA_HOME} AND EXISTS $ENV{JAVA_HOME}/include/jni.h)
  set(ZORF_JDK $ENV{JAVA_HOME})
else()
  list(GET ZORF_JDKS 0 ZORF_JDK)
endif()
message(STATUS "JDKs: ${ZORF_JDKS} (building with ${ZORF_JDK})")

add_library(zorf_jni_headers INTERFACE)
target_include_directories(zorf_jni_headers SYSTEM INTERFACE
  ${ZORF_JDK}/include ${ZORF_JDK}/include/linux)

# zorf_jdk_label(HOME VAR): a short name for test names, such as "jdk17".
function(zorf_jdk_label home var)
  file(STRINGS ${home}/release _line REGEX "^JAVA_VERSION=")
  string(REGEX REPLACE "^JAVA_VERSION=\"([0-9]+).*$" "jdk\\1" _label "${_line}")
  set(${var} ${_label} PARENT_SCOPE)
endfunction()
