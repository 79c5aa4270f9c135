# Debian packages, one for each component, and an archive of everything. packaging/make.sh makes them.
set(CPACK_PACKAGE_NAME libzorfhadoop)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each component has its own
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "the libzorfhadoop developers")
set(CPACK_PACKAGE_CONTACT "the libzorfhadoop developers <libzorfhadoop@localhost>")
if(NOT CPACK_PACKAGE_DIRECTORY)
  set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library jni tools standin)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_FILE_NAME libzorfhadoop-${CPACK_PACKAGE_VERSION}-linux-x86_64)
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(_version "${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzorfhadoop${ZORF_SOVERSION})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
"HDFS NameNode natives over the zorf file system
The native half of an HDFS NameNode whose files live on zorf, a parallel
file system. It answers from the file system itself: status, names and ids,
per-thread identity, permissions, ACLs, extended attributes, replication, and
the locations of the replicas of each block.

It needs the client library libzorf.so of the file system, which is not
packaged; see the package zorfhadoop-standin for machines without zorf.")
# The client library comes from elsewhere, and libacl is opened at run time.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS libacl1)
set(_debian ${PROJECT_SOURCE_DIR}/packaging/debian)
set(_control ${PROJECT_BINARY_DIR}/debian)
configure_file(${_debian}/libzorfhadoop/shlibs.in ${_control}/libzorfhadoop/shlibs @ONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${_debian}/libzorfhadoop/triggers ${_control}/libzorfhadoop/shlibs)

set(CPACK_DEBIAN_JNI_PACKAGE_NAME libzorfhadoop-jni)
set(CPACK_DEBIAN_JNI_PACKAGE_SECTION java)
set(CPACK_COMPONENT_JNI_DESCRIPTION
"HDFS NameNode natives over the zorf file system, for Java
The link by which Java finds libzorfhadoop when it is not told its path. The
libraries of several versions can be installed at once; this names the one
that belongs to the classes of zorfhadoop-tools.")
set(CPACK_DEBIAN_JNI_PACKAGE_DEPENDS "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${_version})")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zorfhadoop-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION java)
set(CPACK_DEBIAN_TOOLS_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"ask zorf what it tells an HDFS NameNode, and its Java classes
The command zorfhadoop shows status, ACLs, attributes and the placement of
blocks of files on zorf, as a NameNode gets them, and why a user can't reach
a path. The jar zorfhadoop.jar has the class of the natives and types over
what they return, for the class path of the NameNode.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
  "libzorfhadoop-jni (= ${_version}), ${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${_version}), default-jre-headless | java8-runtime-headless, libcommons-logging-java, libpicocli-java")
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${_debian}/zorfhadoop-tools/postinst
  ${_debian}/zorfhadoop-tools/postrm ${_debian}/zorfhadoop-tools/triggers)

set(CPACK_DEBIAN_STANDIN_PACKAGE_NAME zorfhadoop-standin)
set(CPACK_DEBIAN_STANDIN_PACKAGE_SECTION misc)
set(CPACK_COMPONENT_STANDIN_DESCRIPTION
"stand-in for the client library of the zorf file system
It answers for files of any file system and makes the placement of their
blocks up, so that libzorfhadoop can be tried and tested without zorf.

It lies outside of the loader's way: name its directory in LD_LIBRARY_PATH to
use it. Never do that on a machine that serves users.")
set(CPACK_DEBIAN_STANDIN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_DATANODE_PACKAGE_NAME zorf-datanode)
set(CPACK_DEBIAN_DATANODE_PACKAGE_SECTION net)
set(CPACK_COMPONENT_DATANODE_DESCRIPTION
"give HDFS clients the data of files on the zorf file system
A service for hosts that have the mount. It speaks HDFS's data transfer
protocol to unmodified clients, which show it tokens of a NameNode, and reads
and writes files as the users whom the tokens name.")
set(CPACK_DEBIAN_DATANODE_PACKAGE_SHLIBDEPS ON)
set(_components LIBRARY JNI TOOLS STANDIN)
if(TARGET zorf-datanode)
  list(APPEND _components DATANODE)
  list(APPEND CPACK_COMPONENTS_ALL datanode)
endif()

# What each package says of itself.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_debian}/changelog
  ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
execute_process(COMMAND gzip -9nc ${_debian}/changelog
  OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
set(_docs ${PROJECT_SOURCE_DIR}/docs)
set(_documents_of_library
  ${_docs}/operations.md ${_docs}/errors.md ${_docs}/formats.md ${_docs}/java.md)
set(_documents_of_tools ${_docs}/tool.md ${_docs}/placement.svg)
set(_documents_of_datanode ${_docs}/datanode.md)
install(FILES ${_docs}/examples/Api.java COMPONENT library
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME}/examples)
foreach(component IN LISTS _components)
  string(TOLOWER ${component} _component)
  set(_package ${CPACK_DEBIAN_${component}_PACKAGE_NAME})
  string(REPLACE ${ZORF_SOVERSION} "" _name ${_package})
  install(FILES ${_debian}/copyright ${PROJECT_BINARY_DIR}/changelog.Debian.gz
    ${PROJECT_BINARY_DIR}/changelog.gz ${_documents_of_${_component}}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${_package} COMPONENT ${_component})
  install(FILES ${_debian}/${_name}/lintian-overrides
    DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${_package}
    COMPONENT ${_component})
endforeach()

include(CPack)
