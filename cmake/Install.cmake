# Installation: public and platform headers, the shared and static libraries
# of sfpdrv and of the platform layer, a pkg-config file and a CMake package
# (find_package(sfpdrv) gives sfpdrv::sfpdrv and sfpdrv::sfpdrv_static), and
# on Linux the backends library libsfpdrv-linux (sfpdrv::linux).
# The simulated module, the tool, the tests and the benchmarks are not
# installed.
include(CMakePackageConfigHelpers)

set(SFPDRV_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/sfpdrv
    CACHE STRING "Where the CMake package files of sfpdrv are installed")
set(SFPDRV_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    CACHE STRING "Where the pkg-config file of sfpdrv is installed")

# Headers: <sfpdrv/*.h>, and the platform interfaces as
# include/sfpdrv/platform/*.h so that "platform/pelog.h" resolves against the
# platform target's include directory (include/sfpdrv).
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/sfpdrv/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sfpdrv
        COMPONENT sfpdrv_development
        FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/platform/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sfpdrv/platform
        COMPONENT sfpdrv_development
        FILES_MATCHING PATTERN "*.h")

install(TARGETS sfpdrv sfpdrv_static sfpdrv_platform sfpdrv_platform_static
                sfpdrv_platform_headers
        EXPORT sfpdrvTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT sfpdrv_runtime
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT sfpdrv_runtime
                NAMELINK_COMPONENT sfpdrv_development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT sfpdrv_development)

# The Linux backends library (sfpdrv::linux, pkg-config sfpdrv-linux).
if(TARGET sfpdrv_linux)
  install(TARGETS sfpdrv_linux
          EXPORT sfpdrvTargets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT sfpdrv_runtime
                  NAMELINK_COMPONENT sfpdrv_development)
endif()

install(EXPORT sfpdrvTargets
        FILE sfpdrvTargets.cmake
        NAMESPACE sfpdrv::
        DESTINATION ${SFPDRV_INSTALL_CMAKEDIR}
        COMPONENT sfpdrv_development)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/sfpdrvConfig.cmake.in
  ${PROJECT_BINARY_DIR}/sfpdrvConfig.cmake
  INSTALL_DESTINATION ${SFPDRV_INSTALL_CMAKEDIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/sfpdrvConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/sfpdrvConfig.cmake
              ${PROJECT_BINARY_DIR}/sfpdrvConfigVersion.cmake
        DESTINATION ${SFPDRV_INSTALL_CMAKEDIR}
        COMPONENT sfpdrv_development)

# The pkg-config file finds its prefix from its own location, so that the
# installed tree can be moved (or installed with `cmake --install --prefix`).
if(IS_ABSOLUTE "${SFPDRV_INSTALL_PKGCONFIGDIR}")
  set(SFPDRV_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH _sfpdrv_pc_up "/prefix/${SFPDRV_INSTALL_PKGCONFIGDIR}" "/prefix")
  string(REGEX REPLACE "/$" "" _sfpdrv_pc_up "${_sfpdrv_pc_up}")
  set(SFPDRV_PC_PREFIX "\${pcfiledir}/${_sfpdrv_pc_up}")
endif()
foreach(_dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${_dir}}")
    set(SFPDRV_PC_${_dir} "${CMAKE_INSTALL_${_dir}}")
  else()
    set(SFPDRV_PC_${_dir} "\${prefix}/${CMAKE_INSTALL_${_dir}}")
  endif()
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/sfpdrv.pc.in ${PROJECT_BINARY_DIR}/sfpdrv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/sfpdrv.pc
        DESTINATION ${SFPDRV_INSTALL_PKGCONFIGDIR}
        COMPONENT sfpdrv_development)
if(TARGET sfpdrv_linux)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/sfpdrv-linux.pc.in ${PROJECT_BINARY_DIR}/sfpdrv-linux.pc
                 @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/sfpdrv-linux.pc
          DESTINATION ${SFPDRV_INSTALL_PKGCONFIGDIR}
          COMPONENT sfpdrv_development)
endif()
