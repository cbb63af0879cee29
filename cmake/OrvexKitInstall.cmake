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

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/OrvexKitConfig.cmake.in" "${PROJECT_BINARY_DIR}/OrvexKitConfig.cmake"
  INSTALL_DESTINATION "${ORVEXKIT_CMAKE_DIR}")
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/OrvexKitConfigVersion.cmake" COMPATIBILITY ${ORVEXKIT_COMPATIBILITY})
install(FILES "${PROJECT_BINARY_DIR}/OrvexKitConfig.cmake"
              "${PROJECT_BINARY_DIR}/OrvexKitConfigVersion.cmake"
        DESTINATION "${ORVEXKIT_CMAKE_DIR}"
        COMPONENT Development)

# The .pc file derives its prefix from its own location, so an installed tree can be moved.
file(RELATIVE_PATH ORVEXKIT_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" ORVEXKIT_PC_PREFIX "${ORVEXKIT_PC_PREFIX}")
# A shared library loads its dependencies itself.
set(ORVEXKIT_PC_REQUIRES "")
if(NOT BUILD_SHARED_LIBS)
  set(ORVEXKIT_PC_REQUIRES "Requires: glib-2.0 >= 2.74")
endif()
configure_file("${PROJECT_SOURCE_DIR}/cmake/orvexkit.pc.in" "${PROJECT_BINARY_DIR}/orvexkit.pc" @ONLY)
install(
  FILES "${PROJECT_BINARY_DIR}/orvexkit.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT Development)
