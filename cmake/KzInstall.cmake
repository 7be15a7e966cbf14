# What `cmake --install` lays out: libraries, headers, a CMake package, pkg-config files, programs.
# Everything finds everything else by relative paths, so that an installed tree can be moved,
# unless a directory was given as an absolute path.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# A folder of their own keeps names as short as rw/ and ryp/ out of the system's include folder.
set(kz_headers_dir ${CMAKE_INSTALL_INCLUDEDIR}/kzstat)
set(kz_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kzstat)
set(kz_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# kz_install_library(TARGET COMPONENT HEADER_DIR ...)
#
# COMPONENT is the one of the CMake package, empty for what is always there.
function(kz_install_library target component)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "\$ORIGIN")
  install(TARGETS ${target} EXPORT kzstat${component}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
      COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${kz_headers_dir})
  foreach(dir IN LISTS ARGN)
    install(DIRECTORY ${dir}/ DESTINATION ${kz_headers_dir}
      COMPONENT development FILES_MATCHING PATTERN "*.h")
  endforeach()
endfunction()

function(kz_install_pkgconfig_file name description requires requires_private libs_private)
  set(prefix ${CMAKE_INSTALL_PREFIX})
  if(NOT IS_ABSOLUTE "${kz_pkgconfig_dir}")
    file(RELATIVE_PATH to_prefix "/${kz_pkgconfig_dir}" "/")
    string(REGEX REPLACE "/$" "" to_prefix "${to_prefix}")
    set(prefix "\${pcfiledir}/${to_prefix}")
  endif()
  set(libdir "\${prefix}")
  cmake_path(APPEND libdir "${CMAKE_INSTALL_LIBDIR}")
  set(includedir "\${prefix}")
  cmake_path(APPEND includedir "${kz_headers_dir}")
  string(JOIN " " flags -pthread ${kz_arithmetic_flags})
  if(NOT KZ_BUILD_SHARED_LIBS)
    string(TOUPPER ${name} upper_name)
    string(APPEND flags " -D${upper_name}_STATIC_DEFINE")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
    DESTINATION ${kz_pkgconfig_dir} COMPONENT development)
endfunction()

function(kz_gzip input output)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${input})
  execute_process(COMMAND gzip -9 --no-name --stdout ${input}
    OUTPUT_FILE ${output} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Installs the program with its man page, which every program has.
function(kz_install_program target)
  file(RELATIVE_PATH to_libraries "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "\$ORIGIN/${to_libraries}")
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT name)
    set(name ${target})
  endif()
  kz_gzip(${PROJECT_SOURCE_DIR}/docs/man/${name}.1 ${CMAKE_CURRENT_BINARY_DIR}/${name}.1.gz)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.1.gz
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT programs)
  install(FILES completion.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${name}
    COMPONENT programs)
endfunction()

# The CMake package: `find_package(kzstat)` gives kz::stat and, below it, kz::platform; the component
# journal adds kz::journal.
function(kz_install_package)
  set(config ${PROJECT_BINARY_DIR}/kzstatConfig.cmake)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kzstatConfig.cmake.in ${config}
    INSTALL_DESTINATION ${kz_package_dir} NO_SET_AND_CHECK_MACRO)
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/kzstatConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
  install(FILES ${config} ${PROJECT_BINARY_DIR}/kzstatConfigVersion.cmake
    DESTINATION ${kz_package_dir} COMPONENT development)
  install(EXPORT kzstat NAMESPACE kz:: FILE kzstatTargets.cmake
    DESTINATION ${kz_package_dir} COMPONENT development)
  if(TARGET kzjournal)
    install(EXPORT kzstatjournal NAMESPACE kz:: FILE kzstatjournalTargets.cmake
      DESTINATION ${kz_package_dir} COMPONENT development)
  endif()
endfunction()
