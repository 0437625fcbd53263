# SPDX-License-Identifier: MIT
# Headers keep the shape of the source tree below include/orvex-1, so that the public headers'
# climb to the templates ("../../src/Pointer/Vector.h") leads to the same place when installed.
include(CMakePackageConfigHelpers)

set(orvex_headers ${CMAKE_INSTALL_INCLUDEDIR}/orvex-1)
set(orvex_package ${CMAKE_INSTALL_LIBDIR}/cmake/ORVEX)

install(TARGETS orvex EXPORT ORVEXTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(DIRECTORY include/ORVEX DESTINATION ${orvex_headers}/include
  COMPONENT Development FILES_MATCHING PATTERN "*.h")
foreach(room IN ITEMS Pointer Allocator)
  install(DIRECTORY src/${room} DESTINATION ${orvex_headers}/src
    COMPONENT Development FILES_MATCHING PATTERN "*.h")
endforeach()

configure_package_config_file(cmake/ORVEXConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/ORVEXConfig.cmake INSTALL_DESTINATION ${orvex_package})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/ORVEXConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/ORVEXConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/ORVEXConfigVersion.cmake
  DESTINATION ${orvex_package} COMPONENT Development)
# A static library hands its flags target on; a shared one keeps it to itself.
if(NOT BUILD_SHARED_LIBS)
  install(TARGETS orvex_flags EXPORT ORVEXTargets)
endif()
install(EXPORT ORVEXTargets NAMESPACE ORVEX:: DESTINATION ${orvex_package}
  COMPONENT Development)

# pkg-config finds everything from where the .pc file lies, so the tree can be moved.
file(RELATIVE_PATH orvex_pc_prefix
  /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" orvex_pc_prefix "${orvex_pc_prefix}")
if(BUILD_SHARED_LIBS)
  set(orvex_pc_requires Requires.private)
else()
  set(orvex_pc_requires Requires)
endif()
configure_file(cmake/orvex.pc.in ${CMAKE_CURRENT_BINARY_DIR}/orvex.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvex.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)
