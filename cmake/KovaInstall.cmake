# Install rules, in ten components. The core has `runtime` (shared libraries) and `development` (headers,
# CMake package, pkg-config files, static libraries). The kit, libkova_http and libkova_nats have the same
# two each, with `kit_`, `http_` and `nats_` in front. The others are `tools` and `documentation`. An
# installation without the kit, libkova_http or libkova_nats contains no part of it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(kova_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kova)
set(kova_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
# The platform's headers are in a separate folder: a device may have other headers of the same names.
set(kova_platform_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/kova/platform)

# Sets `result` to the path from the folder `from` to `to`, both below the prefix, so that pkg-config
# works after the installation is moved. If either is absolute, `result` is the absolute path of `to`.
function(kova_relative_dir from to result)
  if(IS_ABSOLUTE "${to}" OR IS_ABSOLUTE "${from}")
    cmake_path(ABSOLUTE_PATH to BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} NORMALIZE)
    set(${result} ${to} PARENT_SCOPE)
  else()
    file(RELATIVE_PATH path /prefix/${from} /prefix/${to})
    set(${result} "\${pcfiledir}/${path}" PARENT_SCOPE)
  endif()
endfunction()

# Installs the layer NAME, the public headers below SOURCE into the folder FOLDER of INCLUDE, and a
# pkg-config file. The layer belongs to the components PREFIXruntime and PREFIXdevelopment and to the
# export set EXPORT. REQUIRES lists the pkg-config modules that are always needed. REQUIRES_PRIVATE lists
# those that only static libraries need; it is ignored for shared libraries, so that users need not
# install these modules.
function(kova_install_layer name)
  cmake_parse_arguments(ARG "" "SOURCE;INCLUDE;FOLDER;PREFIX;EXPORT" "REQUIRES;REQUIRES_PRIVATE" ${ARGN})
  if(NOT ARG_EXPORT)
    set(ARG_EXPORT kovaTargets)
  endif()
  target_include_directories(${name} PUBLIC $<INSTALL_INTERFACE:${ARG_INCLUDE}>)
  if(NOT DEFINED CMAKE_INSTALL_RPATH)
    # The libraries find each other if they are in the same folder, wherever that folder is.
    set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
  install(TARGETS ${name} EXPORT ${ARG_EXPORT}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${ARG_PREFIX}runtime
    NAMELINK_COMPONENT ${ARG_PREFIX}development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${ARG_PREFIX}development)
  install(DIRECTORY ${ARG_SOURCE}/ DESTINATION ${ARG_INCLUDE}/${ARG_FOLDER}
    COMPONENT ${ARG_PREFIX}development FILES_MATCHING PATTERN "*.h")

  get_target_property(pc_name ${name} EXPORT_NAME)
  if(BUILD_SHARED_LIBS)
    set(ARG_REQUIRES_PRIVATE "")
  endif()
  list(JOIN ARG_REQUIRES " " pc_requires)
  list(JOIN ARG_REQUIRES_PRIVATE " " pc_requires_private)
  kova_relative_dir("${kova_pkgconfig_dir}" "${CMAKE_INSTALL_LIBDIR}" pc_libdir)
  kova_relative_dir("${kova_pkgconfig_dir}" "${ARG_INCLUDE}" pc_includedir)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/kova.pc.in
    ${PROJECT_BINARY_DIR}/kova-${pc_name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/kova-${pc_name}.pc DESTINATION ${kova_pkgconfig_dir}
    COMPONENT ${ARG_PREFIX}development)
endfunction()

kova_install_layer(osal SOURCE ${PROJECT_SOURCE_DIR}/platform/osal/include
  INCLUDE ${kova_platform_include_dir})
kova_install_layer(zelcommon SOURCE ${PROJECT_SOURCE_DIR}/platform/zelcommon/include
  INCLUDE ${kova_platform_include_dir} REQUIRES kova-osal REQUIRES_PRIVATE fmt)
kova_install_layer(zelutil SOURCE ${PROJECT_SOURCE_DIR}/platform/zelutil/include
  INCLUDE ${kova_platform_include_dir} REQUIRES kova-zelcommon
  REQUIRES_PRIVATE fmt simdjson nettle)
kova_install_layer(kova_core SOURCE ${PROJECT_SOURCE_DIR}/include/kova/core FOLDER kova/core
  INCLUDE ${CMAKE_INSTALL_INCLUDEDIR} REQUIRES kova-zelutil REQUIRES_PRIVATE fmt)
kova_install_layer(kova_kit SOURCE ${PROJECT_SOURCE_DIR}/include/kova/kit FOLDER kova/kit
  PREFIX kit_ EXPORT kovaKitTargets INCLUDE ${CMAKE_INSTALL_INCLUDEDIR} REQUIRES kova-core)
install(TARGETS kova_testing EXPORT kovaKitTargets)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kova/testing
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kova COMPONENT kit_development FILES_MATCHING PATTERN "*.h")

if(KOVA_HTTP)
  kova_install_layer(kova_http SOURCE ${PROJECT_SOURCE_DIR}/include/kova/http FOLDER kova/http
    PREFIX http_ EXPORT kovaHttpTargets INCLUDE ${CMAKE_INSTALL_INCLUDEDIR} REQUIRES kova-kit
    REQUIRES_PRIVATE libnghttp2 libmicrohttpd)
  install(EXPORT kovaHttpTargets NAMESPACE kova:: DESTINATION ${kova_cmake_dir}
    COMPONENT http_development)
endif()

if(KOVA_NATS)
  kova_install_layer(kova_nats SOURCE ${PROJECT_SOURCE_DIR}/include/kova/nats FOLDER kova/nats
    PREFIX nats_ EXPORT kovaNatsTargets INCLUDE ${CMAKE_INSTALL_INCLUDEDIR} REQUIRES kova-kit
    REQUIRES_PRIVATE libnats)
  install(EXPORT kovaNatsTargets NAMESPACE kova:: DESTINATION ${kova_cmake_dir}
    COMPONENT nats_development)
endif()

if(TARGET kova_tool)
  if(NOT DEFINED CMAKE_INSTALL_RPATH)
    file(RELATIVE_PATH path /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(kova_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${path}")
  endif()
  install(TARGETS kova_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  set(kova_manual ${PROJECT_SOURCE_DIR}/src/tool/kova.1)
  if(KOVA_DEBIAN)
    execute_process(COMMAND gzip -9nc ${kova_manual}
      OUTPUT_FILE ${PROJECT_BINARY_DIR}/kova.1.gz COMMAND_ERROR_IS_FATAL ANY)
    set(kova_manual ${PROJECT_BINARY_DIR}/kova.1.gz)
  endif()
  install(FILES ${kova_manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  # The folders in which bash-completion and Debian's zsh look for the completion of a program.
  install(FILES ${PROJECT_SOURCE_DIR}/src/tool/completion/kova.bash RENAME kova
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/src/tool/completion/_kova
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tools)
endif()

# The CMake package.
install(EXPORT kovaTargets NAMESPACE kova:: DESTINATION ${kova_cmake_dir} COMPONENT development)
install(EXPORT kovaKitTargets NAMESPACE kova:: DESTINATION ${kova_cmake_dir} COMPONENT kit_development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kovaConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kovaConfig.cmake INSTALL_DESTINATION ${kova_cmake_dir}
  NO_SET_AND_CHECK_MACRO)
# Before 1.0, minor versions may be incompatible.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kovaConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kovaConfig.cmake ${PROJECT_BINARY_DIR}/kovaConfigVersion.cmake
  DESTINATION ${kova_cmake_dir} COMPONENT development)

# The documents, and the examples as a separate project.
set(kova_examples_dir ${CMAKE_INSTALL_DOCDIR}/examples)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT documentation)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${kova_examples_dir}
  COMPONENT documentation REGEX "/examples/CMakeLists.txt$" EXCLUDE)
file(READ ${PROJECT_SOURCE_DIR}/examples/CMakeLists.txt kova_examples)
configure_file(${PROJECT_SOURCE_DIR}/cmake/examples.cmake.in
  ${PROJECT_BINARY_DIR}/examples.cmake @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/examples.cmake DESTINATION ${kova_examples_dir}
  RENAME CMakeLists.txt COMPONENT documentation)
