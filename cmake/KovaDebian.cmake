# Configures `cpack -G DEB`, which packaging/build-deb runs. Each component becomes a Debian package.
set(kova_debian_dir ${PROJECT_SOURCE_DIR}/packaging/debian)

# Every package contains its licence and its changelogs.
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
kova_debian_package(kit_runtime libkova-kit0)
kova_debian_package(kit_development libkova-kit-dev)
kova_debian_package(http_runtime libkova-http0)
kova_debian_package(http_development libkova-http-dev)
kova_debian_package(nats_runtime libkova-nats0)
kova_debian_package(nats_development libkova-nats-dev)
kova_debian_package(tools kova-tools)
kova_debian_package(documentation kova-doc)

# The first entry of the Debian changelog is the version of the packages.
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
set(CPACK_COMPONENTS_ALL runtime development kit_runtime kit_development
    http_runtime http_development nats_runtime nats_development tools documentation)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"Services mount resource handlers under paths; clients send them requests
and receive any number of values, then an error or a completion.
This package contains the shared libraries.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${kova_debian_dir}/triggers)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_COMPONENT_KIT_RUNTIME_DESCRIPTION
"Calls that end when they are told to, and typed values, for the clients
and services of kova. This package contains the shared library.")
set(CPACK_DEBIAN_KIT_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_KIT_RUNTIME_PACKAGE_CONTROL_EXTRA ${kova_debian_dir}/triggers)
set(CPACK_DEBIAN_KIT_RUNTIME_PACKAGE_DEPENDS "libkova0 (= ${kova_debian_version})")

set(CPACK_COMPONENT_KIT_DEVELOPMENT_DESCRIPTION
"Calls that end when they are told to, and typed values, for the clients
and services of kova. This package contains the headers, those for tests
of services and clients too, and a pkg-config file.")
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_DEPENDS
  "libkova-kit0 (= ${kova_debian_version}), libkova-dev (= ${kova_debian_version})")

set(CPACK_COMPONENT_HTTP_RUNTIME_DESCRIPTION
"Serves the services of kova to other processes over HTTP, and connects
to them. This package contains the shared library.")
set(CPACK_DEBIAN_HTTP_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_HTTP_RUNTIME_PACKAGE_CONTROL_EXTRA ${kova_debian_dir}/triggers)
set(CPACK_DEBIAN_HTTP_RUNTIME_PACKAGE_DEPENDS "libkova-kit0 (= ${kova_debian_version})")

set(CPACK_COMPONENT_HTTP_DEVELOPMENT_DESCRIPTION
"Serves the services of kova to other processes over HTTP, and connects
to them. This package contains the headers and a pkg-config file.")
set(CPACK_DEBIAN_HTTP_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_HTTP_DEVELOPMENT_PACKAGE_DEPENDS
  "libkova-http0 (= ${kova_debian_version}), libkova-kit-dev (= ${kova_debian_version})")

set(CPACK_COMPONENT_NATS_RUNTIME_DESCRIPTION
"Serves the services of kova to other machines through a broker, and
connects to them. This package contains the shared library.")
set(CPACK_DEBIAN_NATS_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_NATS_RUNTIME_PACKAGE_CONTROL_EXTRA ${kova_debian_dir}/triggers)
set(CPACK_DEBIAN_NATS_RUNTIME_PACKAGE_DEPENDS "libkova-kit0 (= ${kova_debian_version})")

set(CPACK_COMPONENT_NATS_DEVELOPMENT_DESCRIPTION
"Serves the services of kova to other machines through a broker, and
connects to them. This package contains the headers and a pkg-config file.")
set(CPACK_DEBIAN_NATS_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_NATS_DEVELOPMENT_PACKAGE_DEPENDS
  "libkova-nats0 (= ${kova_debian_version}), libkova-kit-dev (= ${kova_debian_version})")

set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"Reads, writes and watches the resources of services of kova from a shell.
This package contains the program kova.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libkova-http0 (= ${kova_debian_version})")
if(KOVA_NATS)
  string(APPEND CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ", libkova-nats0 (= ${kova_debian_version})")
endif()

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"Services mount resource handlers under paths; clients send them requests
and receive any number of values, then an error or a completion.
This package contains the headers, the CMake package and the pkg-config files.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkova0 (= ${kova_debian_version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS kova-doc)

set(CPACK_COMPONENT_DOCUMENTATION_DESCRIPTION
"Services mount resource handlers under paths; clients send them requests
and receive any number of values, then an error or a completion.
This package contains the documentation and the source code of the examples.")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SUGGESTS "libkova-dev, libcli11-dev")

# dpkg-shlibdeps finds the libraries that the programs and libraries need, but only for this machine's
# architecture. Packages for another architecture have the same dependencies.
set(KOVA_DEBIAN_NATIVE_PACKAGES "" CACHE PATH
  "Folder of packages whose dependencies are used; empty: determined by dpkg-shlibdeps")
foreach(component IN ITEMS RUNTIME KIT_RUNTIME HTTP_RUNTIME NATS_RUNTIME TOOLS)
  if(KOVA_DEBIAN_NATIVE_PACKAGES)
    set(name ${CPACK_DEBIAN_${component}_PACKAGE_NAME}_${kova_debian_version})
    file(GLOB package ${KOVA_DEBIAN_NATIVE_PACKAGES}/${name}_*.deb)
    execute_process(COMMAND dpkg-deb --field "${package}" Depends
      OUTPUT_VARIABLE CPACK_DEBIAN_${component}_PACKAGE_DEPENDS
      OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  else()
    set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON)
  endif()
endforeach()
foreach(layer IN ITEMS platform/osal platform/zelcommon platform/zelutil src/core src/kit src/http
        src/nats)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/${layer})
endforeach()

include(CPack)
