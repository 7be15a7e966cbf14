# The Debian packages: `cpack` in a folder that the preset package or package-x86 configured.
#
#   libkzstat1      the shared libraries; its name carries the soname, so that releases with
#                   different ones stand side by side
#   libkzstat-dev   what a host is built with
#   kzload          the programs

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kzstat)
set(CPACK_PACKAGE_CONTACT "kzstat maintainers <maintainers@users.noreply.c-seed-010ad088.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/KzMultiArch.cmake)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# Each component's description begins with a summary of its own. CPack puts one for all in front of
# it, unless that is its own default text.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(what_it_does "Programs that generate load report values by name; the library aggregates them
per slice of time and hands totals and one text message per slice back.")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(KZ_BUILD_HOSTS)
  list(APPEND CPACK_COMPONENTS_ALL programs)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
endif()
set(runtime_package libkzstat${PROJECT_VERSION_MAJOR})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# Stated rather than looked up, since the look-up needs the libraries of the architecture to be
# installed; these are the versions of the system that packages are made on.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6 (>= 2.36), libgcc-s1 (>= 12), libstdc++6 (>= 12)")
if(TARGET kzjournal)
  string(APPEND CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS ", libsqlite3-0 (>= 3.40), libzstd1 (>= 1.5)")
endif()
foreach(library kzplatform kzstat kzjournal)
  if(TARGET ${library})
    string(APPEND shlibs "lib${library} ${PROJECT_VERSION_MAJOR} ${runtime_package} \
(>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})\n")
  endif()
endforeach()
file(CONFIGURE OUTPUT shlibs CONTENT "${shlibs}" @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/triggers ${PROJECT_BINARY_DIR}/shlibs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "statistics generator for load-generating processes
${what_it_does}

This package holds the shared libraries.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkzstat-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION}), libc6-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
"statistics generator for load-generating processes (development)
${what_it_does}

This package holds what programs are built with: headers, a CMake package and
pkg-config files.")

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME kzload)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS "${runtime_package} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${PROJECT_BINARY_DIR}/src ${PROJECT_BINARY_DIR}/platform ${PROJECT_BINARY_DIR}/journal)
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION "load generator for HTTP with statistics per slice of time
Simulated clients load a web server; every slice of time gives a row of
statistics, and the run ends with a table in which every request is counted.
kzstat shows, compares, exports, merges and checks the statistics of runs.")

# The newest release of CHANGELOG.md in Debian's form.
function(kz_make_debian_changelog output)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
  file(READ ${PROJECT_SOURCE_DIR}/CHANGELOG.md text)
  if(NOT text MATCHES "\n## ([0-9.]+) \\(([0-9-]+)\\)\n\n([^#]*)"
      OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "CHANGELOG.md begins with no entry for ${PROJECT_VERSION}")
  endif()
  set(date ${CMAKE_MATCH_2})
  string(STRIP "${CMAKE_MATCH_3}" changes)
  string(REPLACE "\n" "\n  " changes "  ${changes}")
  string(REGEX REPLACE "(^|\n)  - " "\\1  * " changes "${changes}")
  execute_process(COMMAND date --utc --rfc-email --date ${date}
    OUTPUT_VARIABLE release_date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/changelog.in ${output} @ONLY)
endfunction()

# The files that every Debian package holds.
function(kz_install_package_documents component)
  string(TOUPPER ${component} upper_component)
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper_component}_PACKAGE_NAME})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${PROJECT_BINARY_DIR}/changelog.gz
    DESTINATION ${documents} COMPONENT ${component})
endfunction()

kz_make_debian_changelog(${PROJECT_BINARY_DIR}/changelog)
kz_gzip(${PROJECT_BINARY_DIR}/changelog ${PROJECT_BINARY_DIR}/changelog.gz)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  kz_install_package_documents(${component})
endforeach()
# What a developer reads, its links to one another included.
set(developer_documents ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME})
install(FILES ${PROJECT_SOURCE_DIR}/README.md
  DESTINATION ${developer_documents} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples
  DESTINATION ${developer_documents} COMPONENT development
  FILES_MATCHING PATTERN "*.md" PATTERN "*.cpp" PATTERN "man" EXCLUDE)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/${runtime_package}.lintian-overrides
  DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${runtime_package}
  COMPONENT runtime)

include(CPack)
