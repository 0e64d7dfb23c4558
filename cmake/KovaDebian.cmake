# The three Debian packages that `cpack -G DEB` makes of the components; packaging/build-deb calls it.
set(kova_debian_dir ${PROJECT_SOURCE_DIR}/packaging/debian)

# Every package carries its licence and its changes.
execute_process(COMMAND gzip -9nc ${kova_debian_dir}/changelog
  OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
function(kova_debian_package component name)
  install(FILES ${kova_debian_dir}/copyright ${PROJECT_BINARY_DIR}/changelog.Debian.gz
    ${PROJECT_BINARY_DIR}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} COMPONENT ${component})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
endfunction()
kova_debian_package(runtime libkova0)
kova_debian_package(development libkova-dev)
kova_debian_package(documentation kova-doc)

# The first entry of the changelog says which version this is.
file(STRINGS ${kova_debian_dir}/changelog kova_debian_version LIMIT_COUNT 1)
if(NOT kova_debian_version MATCHES "^kova \\(([0-9.]+)-([0-9]+)\\) "
   OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
  message(FATAL_ERROR "packaging/debian/changelog does not begin with version ${PROJECT_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_2})
set(kova_debian_version ${PROJECT_VERSION}-${CMAKE_MATCH_2})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kova)
set(CPACK_PACKAGE_VENDOR kova)
set(CPACK_PACKAGE_CONTACT "kova maintainers <maintainers@kova.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "core of a resource-oriented service framework")
set(CPACK_COMPONENTS_ALL runtime development documentation)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"Services mount resource handlers under paths; clients send them requests
and get any number of values, then an error or a completion.
This package holds the shared libraries.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${kova_debian_dir}/triggers)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# dpkg-shlibdeps knows the packages of this machine's processor. Built for another one, the libraries
# depend on the same packages of the same versions: packaging/build-deb hands the list over.
set(KOVA_DEBIAN_DEPENDS "" CACHE STRING "What libkova0 depends on; empty: asks dpkg-shlibdeps")
if(KOVA_DEBIAN_DEPENDS)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${KOVA_DEBIAN_DEPENDS}")
else()
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  foreach(floor IN ITEMS platform/osal platform/zelcommon platform/zelutil src/core)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/${floor})
  endforeach()
endif()

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"Services mount resource handlers under paths; clients send them requests
and get any number of values, then an error or a completion.
This package holds the headers, the CMake package and the pkg-config files.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkova0 (= ${kova_debian_version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS kova-doc)

set(CPACK_COMPONENT_DOCUMENTATION_DESCRIPTION
"Services mount resource handlers under paths; clients send them requests
and get any number of values, then an error or a completion.
This package holds the documents and the source of the examples.")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SUGGESTS "libkova-dev, libcli11-dev")
include(CPack)
