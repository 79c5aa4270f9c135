# What an installation has, in four components: the library, the link by which Java finds it, the tools
# with the jars, and the stand-in in a directory of its own, where no loader finds it unasked.
include(GNUInstallDirs)

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/jni ${PROJECT_BINARY_DIR}/maven-repo)
set(ZORF_JARDIR ${CMAKE_INSTALL_DATADIR}/java/zorfhadoop)

# The full version is the soname, so there is one file; nothing links against it.
install(TARGETS zorfhadoop
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_SKIP)
# By this name System.loadLibrary asks for it. Of the files only this one has no version in its name.
file(CREATE_LINK ../libzorfhadoop.so.${ZORF_SOVERSION} ${PROJECT_BINARY_DIR}/jni/libzorfhadoop.so
  SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/jni/libzorfhadoop.so
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/jni COMPONENT jni)

install_jar(zorfhadoop_jar DESTINATION ${ZORF_JARDIR} COMPONENT tools)
install(FILES ${ZORF_JAVADOC_JAR} ${ZORF_SOURCES_JAR}
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/zorfhadoop-tools COMPONENT tools)
# The jar for Maven, as Debian's own Maven finds it.
set(_artifact zorfhadoop-${PROJECT_VERSION})
set(_repository ${CMAKE_INSTALL_DATADIR}/maven-repo/zorf/zorfhadoop/${PROJECT_VERSION})
install(FILES ${ZORF_POM} DESTINATION ${_repository} RENAME ${_artifact}.pom COMPONENT tools)
file(CREATE_LINK ../../../../java/zorfhadoop/zorfhadoop.jar ${PROJECT_BINARY_DIR}/maven-repo/${_artifact}.jar
  SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/maven-repo/${_artifact}.jar DESTINATION ${_repository} COMPONENT tools)
install_jar(zorfhadoop_tool_jar DESTINATION ${ZORF_JARDIR} COMPONENT tools)
install(PROGRAMS ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/zorfhadoop
  DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
set(_manpage ${PROJECT_BINARY_DIR}/share/man/man1/zorfhadoop.1)
install(CODE "execute_process(COMMAND gzip -9nkf ${_manpage} COMMAND_ERROR_IS_FATAL ANY)"
  COMPONENT tools)
install(FILES ${_manpage}.gz
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES ${PROJECT_BINARY_DIR}/share/bash-completion/completions/zorfhadoop
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)

install(TARGETS zorf
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/zorfhadoop-standin COMPONENT standin)
