# Run by ctest (see CMakeLists.txt beside this file) with the -D values that
# describe the build tree. Fails with a message at the first fault.
cmake_minimum_required(VERSION 3.25)

foreach(var BUILD_DIR WORK_DIR CONSUMER_DIR LIBDIR INCLUDEDIR VERSION VERSION_MAJOR GENERATOR
            C_COMPILER CXX_COMPILER NM READELF)
  if("${${var}}" STREQUAL "")
    message(FATAL_ERROR "install test: ${var} not given")
  endif()
endforeach()

set(prefix ${WORK_DIR}/prefix)
set(libdir ${prefix}/${LIBDIR})
set(incdir ${prefix}/${INCLUDEDIR})

# Runs a command; stops the test with its output when it fails. The output
# is left in <out_var> when one is named.
function(run_checked what)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "OUTPUT" "COMMAND")
  execute_process(COMMAND ${arg_COMMAND} RESULT_VARIABLE rc OUTPUT_VARIABLE out
                  ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " shown "${arg_COMMAND}")
    message(FATAL_ERROR "install test: ${what} failed (${rc})\n  ${shown}\n${out}\n${err}")
  endif()
  if(arg_OUTPUT)
    set(${arg_OUTPUT} "${out}" PARENT_SCOPE)
  endif()
endfunction()

function(expect_exists path)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "install test: ${path} was not installed")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

# --- install ---------------------------------------------------------------
run_checked("installation" COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

foreach(header sfpdrv.h export.h types.h port.h access.h xcvr.h phy.h control.h decode.h qsa.h)
  expect_exists(${incdir}/sfpdrv/${header})
endforeach()
foreach(header pelog.h evm.h psleep.h thread_mark.h)
  expect_exists(${incdir}/sfpdrv/platform/${header})
endforeach()
foreach(lib sfpdrv sfpdrv_platform)
  expect_exists(${libdir}/lib${lib}.a)
  expect_exists(${libdir}/lib${lib}.so.${VERSION})
  foreach(link lib${lib}.so lib${lib}.so.${VERSION_MAJOR})
    if(NOT IS_SYMLINK ${libdir}/${link})
      message(FATAL_ERROR "install test: ${libdir}/${link} is not a symbolic link")
    endif()
  endforeach()
endforeach()
foreach(file sfpdrvConfig.cmake sfpdrvConfigVersion.cmake sfpdrvTargets.cmake)
  expect_exists(${libdir}/cmake/sfpdrv/${file})
endforeach()
expect_exists(${libdir}/pkgconfig/sfpdrv.pc)

# The simulated module and the tests stay in the build tree.
file(GLOB_RECURSE installed RELATIVE ${prefix} ${prefix}/*)
foreach(path IN LISTS installed)
  if(path MATCHES "sfpsim|gtest|gmock|_test$|sfpdrv_bench")
    message(FATAL_ERROR "install test: ${path} must not be installed")
  endif()
endforeach()

# --- run paths: the installed programs find the installed libraries --------
# Each installed ELF file's RPATH/RUNPATH is relative to itself ($ORIGIN);
# none names the build tree.
function(run_path_of file out_var)
  run_checked("readelf of ${file}" COMMAND ${READELF} -d ${file} OUTPUT dynamic)
  set(found "")
  string(REGEX MATCHALL "\\((RPATH|RUNPATH)\\)[^\n]*\\[[^]\n]*\\]" entries "${dynamic}")
  foreach(entry IN LISTS entries)
    string(REGEX REPLACE ".*\\[([^]]*)\\]$" "\\1" path "${entry}")
    list(APPEND found "${path}")
  endforeach()
  set(${out_var} "${found}" PARENT_SCOPE)
endfunction()

file(REAL_PATH "${BUILD_DIR}" build_real)
set(elf_files ${libdir}/libsfpdrv.so.${VERSION} ${libdir}/libsfpdrv_platform.so.${VERSION})
if(WITH_TOOL)
  list(APPEND elf_files ${prefix}/bin/sfpctl)
endif()
foreach(file IN LISTS elf_files)
  run_path_of(${file} paths)
  foreach(path IN LISTS paths)
    string(FIND "${path}" "${build_real}" in_build_real)
    string(FIND "${path}" "${BUILD_DIR}" in_build)
    if(NOT path MATCHES "^\\$ORIGIN" OR in_build_real GREATER -1 OR in_build GREATER -1)
      message(FATAL_ERROR "install test: ${file} keeps the run path '${path}'; an installed "
                          "binary may only name paths relative to itself ($ORIGIN)")
    endif()
  endforeach()
endforeach()
run_path_of(${libdir}/libsfpdrv.so.${VERSION} lib_paths)
if(NOT "$ORIGIN" IN_LIST lib_paths)
  message(FATAL_ERROR "install test: libsfpdrv.so's run path is '${lib_paths}', expected $ORIGIN "
                      "(to find libsfpdrv_platform.so beside it)")
endif()

# --- the installed sfpctl runs from its prefix, with no library path -------
if(WITH_TOOL)
  expect_exists(${prefix}/share/man/man1/sfpctl.1)
  expect_exists(${prefix}/share/bash-completion/completions/sfpctl)
  run_path_of(${prefix}/bin/sfpctl tool_paths)
  if(NOT "$ORIGIN/../${LIBDIR}" IN_LIST tool_paths)
    message(FATAL_ERROR "install test: sfpctl's run path is '${tool_paths}', "
                        "expected $ORIGIN/../${LIBDIR}")
  endif()
  set(sfpctl ${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ${prefix}/bin/sfpctl)
  run_checked("installed sfpctl --help" COMMAND ${sfpctl} --help OUTPUT help)
  # --version once the tool has it.
  if(help MATCHES "--version")
    run_checked("installed sfpctl --version" COMMAND ${sfpctl} --version OUTPUT version_text)
    if(NOT version_text MATCHES "${VERSION}")
      message(FATAL_ERROR "install test: sfpctl --version printed '${version_text}', "
                          "expected it to name ${VERSION}")
    endif()
  endif()
  run_checked("installed sfpctl read" COMMAND ${sfpctl} --sim 10gbase-sr read 0 0 16 --fast
              OUTPUT read_text)
  if(NOT read_text MATCHES "^0x0000:  03 04 ")
    message(FATAL_ERROR "install test: installed sfpctl read printed '${read_text}', "
                        "expected the module's A0h bytes 03 04 ...")
  endif()
endif()

# --- the shared library's interface --------------------------------------
foreach(lib sfpdrv sfpdrv_platform)
  run_checked("readelf of lib${lib}.so" COMMAND ${READELF} -d ${libdir}/lib${lib}.so
              OUTPUT dynamic)
  string(REGEX MATCH "\\(SONAME\\)[^\n]*\\[([^]\n]*)\\]" found "${dynamic}")
  if(NOT CMAKE_MATCH_1 STREQUAL "lib${lib}.so.${VERSION_MAJOR}")
    message(FATAL_ERROR
            "install test: SONAME of lib${lib}.so is '${CMAKE_MATCH_1}', "
            "expected lib${lib}.so.${VERSION_MAJOR}")
  endif()
endforeach()

# Every exported symbol is one that an installed header declares with
# SFPDRV_API: the declarations' names are the words before "(" or ";" on the
# lines that carry the marker (a declaration may continue on the next line).
# A data declaration's ";" separates the list that MATCHALL returns, so its
# match ends with the name itself.
file(GLOB public_headers ${incdir}/sfpdrv/*.h)
set(declared "")
foreach(header IN LISTS public_headers)
  file(READ ${header} text)
  string(REGEX MATCHALL "SFPDRV_API[^;(]*[(;]" declarations "${text}")
  foreach(declaration IN LISTS declarations)
    if(declaration MATCHES "([A-Za-z_][A-Za-z0-9_]*)[ \n]*[(;]?$")
      list(APPEND declared ${CMAKE_MATCH_1})
    endif()
  endforeach()
endforeach()
run_checked("nm of libsfpdrv.so" COMMAND ${NM} -D --defined-only ${libdir}/libsfpdrv.so
            OUTPUT symbols_text)
string(REPLACE "\n" ";" symbol_lines "${symbols_text}")
set(exported "")
set(leaked "")
foreach(line IN LISTS symbol_lines)
  if(line MATCHES "^[0-9a-fA-F]* *[A-Za-z] +([^ ]+)$")
    set(name ${CMAKE_MATCH_1})
    list(APPEND exported ${name})
    # AddressSanitizer adds an ODR indicator beside every exported variable.
    string(REGEX REPLACE "^__odr_asan[.]" "" name "${name}")
    if(NOT name IN_LIST declared)
      list(APPEND leaked ${name})
    endif()
  endif()
endforeach()
if(leaked)
  list(JOIN leaked "\n  " shown)
  message(FATAL_ERROR
          "install test: libsfpdrv.so exports symbols no public header declares:\n  ${shown}")
endif()

# --- a consumer through the CMake package --------------------------------
set(consumer_build ${WORK_DIR}/consumer-cmake)
set(configure_args -S ${CONSUMER_DIR} -B ${consumer_build} -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
    -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF
    -DCMAKE_C_COMPILER=${C_COMPILER}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    "-DCMAKE_C_FLAGS=${C_FLAGS}"
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
    "-DCMAKE_EXE_LINKER_FLAGS=${EXE_LINKER_FLAGS}")
if(NOT MAKE_PROGRAM STREQUAL "")
  list(APPEND configure_args -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM})
endif()
run_checked("configuration of the CMake consumer" COMMAND ${CMAKE_COMMAND} ${configure_args})

# The package must have come from the scratch prefix, not from elsewhere.
file(STRINGS ${consumer_build}/CMakeCache.txt found_dir REGEX "^sfpdrv_DIR:")
string(REGEX REPLACE "^sfpdrv_DIR:[A-Z]+=" "" found_dir "${found_dir}")
file(REAL_PATH "${found_dir}" found_dir)
file(REAL_PATH "${libdir}/cmake/sfpdrv" expected_dir)
if(NOT found_dir STREQUAL expected_dir)
  message(FATAL_ERROR "install test: find_package(sfpdrv) found '${found_dir}', "
                      "expected '${expected_dir}'")
endif()

run_checked("build of the CMake consumer" COMMAND ${CMAKE_COMMAND} --build ${consumer_build})

function(run_consumer program)
  run_checked("run of ${program}"
              COMMAND ${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${libdir}" ${program}
              OUTPUT out)
  if(NOT out MATCHES "consumer: ok: type 594")
    message(FATAL_ERROR "install test: ${program} printed '${out}', expected 'consumer: ok: type 594 ...'")
  endif()
endfunction()

run_consumer(${consumer_build}/consumer)
run_consumer(${consumer_build}/consumer_static)

# --- a consumer through pkg-config ---------------------------------------
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${libdir}/pkgconfig)
run_checked("pkg-config --modversion" COMMAND ${PKG_CONFIG} --modversion sfpdrv OUTPUT pc_version)
string(STRIP "${pc_version}" pc_version)
if(NOT pc_version STREQUAL VERSION)
  message(FATAL_ERROR "install test: pkg-config gives version '${pc_version}', expected ${VERSION}")
endif()
run_checked("pkg-config --static --libs" COMMAND ${PKG_CONFIG} --static --libs sfpdrv
            OUTPUT pc_static)
separate_arguments(pc_static_list UNIX_COMMAND "${pc_static}")
foreach(flag -lsfpdrv -lsfpdrv_platform -lpthread -lm -lstdc++)
  if(NOT flag IN_LIST pc_static_list)
    message(FATAL_ERROR "install test: pkg-config --static --libs lacks ${flag}: ${pc_static}")
  endif()
endforeach()
run_checked("pkg-config --cflags --libs" COMMAND ${PKG_CONFIG} --cflags --libs sfpdrv
            OUTPUT pc_flags)
string(STRIP "${pc_flags}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(c_flags UNIX_COMMAND "${C_FLAGS}")
separate_arguments(link_flags UNIX_COMMAND "${EXE_LINKER_FLAGS}")
set(consumer_pc ${WORK_DIR}/consumer-pkg-config)
run_checked("build of the pkg-config consumer"
            COMMAND ${C_COMPILER} -std=c11 -Wall -Wextra -Wpedantic -Werror ${c_flags}
                    -DCONSUMER_WITH_PLATFORM=1 ${CONSUMER_DIR}/consumer.c ${pc_flags} ${link_flags} -o ${consumer_pc})
run_consumer(${consumer_pc})

# Every installed header compiles alone, as C, with pkg-config's flags only.
file(GLOB_RECURSE installed_headers RELATIVE ${incdir} ${incdir}/sfpdrv/*.h)
file(MAKE_DIRECTORY ${WORK_DIR}/headers)
run_checked("pkg-config --cflags" COMMAND ${PKG_CONFIG} --cflags sfpdrv OUTPUT header_cflags)
separate_arguments(header_cflags UNIX_COMMAND "${header_cflags}")
foreach(header IN LISTS installed_headers)
  string(MAKE_C_IDENTIFIER "${header}" stem)
  file(WRITE ${WORK_DIR}/headers/${stem}.c "#include <${header}>\nint ${stem}_compiles;\n")
  run_checked("compilation of <${header}> alone with pkg-config's flags"
              COMMAND ${C_COMPILER} -std=c11 -Wall -Wextra -Wpedantic -Werror ${header_cflags}
                      -c ${WORK_DIR}/headers/${stem}.c -o ${WORK_DIR}/headers/${stem}.o)
endforeach()

# Static linking with the flags of --static: the private libraries must
# cover what the static libraries need (the platform layer is C++ inside).
set(pc_static_link "")
foreach(flag IN LISTS pc_static_list)
  if(flag STREQUAL "-lsfpdrv" OR flag STREQUAL "-lsfpdrv_platform")
    string(REGEX REPLACE "^-l" "-l:lib" flag "${flag}")
    string(APPEND flag ".a")
  endif()
  list(APPEND pc_static_link ${flag})
endforeach()
run_checked("pkg-config --cflags" COMMAND ${PKG_CONFIG} --cflags sfpdrv OUTPUT pc_cflags)
separate_arguments(pc_cflags UNIX_COMMAND "${pc_cflags}")
set(consumer_pc_static ${WORK_DIR}/consumer-pkg-config-static)
run_checked("static build of the pkg-config consumer"
            COMMAND ${C_COMPILER} -std=c11 -Wall -Wextra -Wpedantic -Werror ${c_flags}
                    -DCONSUMER_WITH_PLATFORM=1 ${CONSUMER_DIR}/consumer.c ${pc_cflags} ${pc_static_link} ${link_flags}
                    -o ${consumer_pc_static})
run_checked("readelf of the static pkg-config consumer"
            COMMAND ${READELF} -d ${consumer_pc_static} OUTPUT static_dynamic)
if(static_dynamic MATCHES "libsfpdrv")
  message(FATAL_ERROR "install test: the static consumer still needs a shared sfpdrv library")
endif()
run_consumer(${consumer_pc_static})

message(STATUS "install test: installed tree, exports, SONAME, run paths, the installed sfpctl, "
               "the headers and the four consumers are fine")
