# SPDX-License-Identifier: MIT

include(CMakePackageConfigHelpers)

set(ORVEXKIT_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/OrvexKit")

install(
  TARGETS OrvexKit
  EXPORT OrvexKitTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
          COMPONENT Runtime
          NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Development
  INCLUDES
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(
  DIRECTORY "${PROJECT_SOURCE_DIR}/include/OrvexKit"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  COMPONENT Development)
install(
  EXPORT OrvexKitTargets
  NAMESPACE OrvexKit::
  DESTINATION "${ORVEXKIT_CMAKE_DIR}"
  COMPONENT Development)

get_target_property(ORVEXKIT_LIBRARY_TYPE OrvexKit TYPE)
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/OrvexKitConfig.cmake.in" "${PROJECT_BINARY_DIR}/OrvexKitConfig.cmake"
  INSTALL_DESTINATION "${ORVEXKIT_CMAKE_DIR}")
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/OrvexKitConfigVersion.cmake" COMPATIBILITY ${ORVEXKIT_COMPATIBILITY})
install(FILES "${PROJECT_BINARY_DIR}/OrvexKitConfig.cmake"
              "${PROJECT_BINARY_DIR}/OrvexKitConfigVersion.cmake"
        DESTINATION "${ORVEXKIT_CMAKE_DIR}"
        COMPONENT Development)

# The .pc file derives its prefix from its own location, so an installed tree can be moved, unless an
# install folder is an absolute path.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(ORVEXKIT_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(ORVEXKIT_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
else()
  file(RELATIVE_PATH ORVEXKIT_PC_UP "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" ORVEXKIT_PC_PREFIX "\${pcfiledir}/${ORVEXKIT_PC_UP}")
  set(ORVEXKIT_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
set(ORVEXKIT_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  string(PREPEND ORVEXKIT_PC_INCLUDEDIR "\${prefix}/")
endif()
# A shared library loads its dependencies itself. They are listed for a static one that lies beside it, one
# by one and without folders of this machine: Requires.private would need GLib's .pc file in every case.
set(ORVEXKIT_PC_REQUIRES "")
set(ORVEXKIT_PC_LIBS "")
set(ORVEXKIT_PC_LIBS_PRIVATE "")
list(TRANSFORM CMAKE_DL_LIBS PREPEND " -l" OUTPUT_VARIABLE ORVEXKIT_PC_DL)
if(ORVEXKIT_LIBRARY_TYPE STREQUAL "STATIC_LIBRARY")
  set(ORVEXKIT_PC_REQUIRES "Requires: glib-2.0 >= 2.74")
  set(ORVEXKIT_PC_LIBS "${ORVEXKIT_PC_DL}")
else()
  list(TRANSFORM ORVEXKIT_GLIB_STATIC_LIBRARIES PREPEND "-l" OUTPUT_VARIABLE ORVEXKIT_PC_GLIB)
  list(JOIN ORVEXKIT_PC_GLIB " " ORVEXKIT_PC_GLIB)
  set(ORVEXKIT_PC_LIBS_PRIVATE "Libs.private: ${ORVEXKIT_PC_GLIB} -pthread${ORVEXKIT_PC_DL}")
endif()
configure_file("${PROJECT_SOURCE_DIR}/cmake/orvexkit.pc.in" "${PROJECT_BINARY_DIR}/orvexkit.pc" @ONLY)
install(
  FILES "${PROJECT_BINARY_DIR}/orvexkit.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT Development)
