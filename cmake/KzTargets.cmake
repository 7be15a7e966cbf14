# What every target of this project has in common.

include(CheckCXXSourceCompiles)
include(GenerateExportHeader)

# 32-bit x86 computes in extended precision by default. The libraries need these flags, and so does
# every host: ryp/floatingpoint.h, which all export headers include, refuses one without.
check_cxx_source_compiles("
#ifndef __i386__
#error not 32-bit x86
#endif
int main() {}" KZ_IS_I386)
set(kz_arithmetic_flags "")
if(KZ_IS_I386)
  set(kz_arithmetic_flags -msse2 -mfpmath=sse)
endif()
set(kz_export_header_end "\n#include \"ryp/floatingpoint.h\"\n")

set(KZ_LIBRARY_FLAGS "" CACHE STRING "Compiler flags for the libraries alone")

# Warnings, the language level and bare file names in __FILE__, for the project's own sources only.
function(kz_compile_options target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wconversion -Wshadow
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    -fmacro-prefix-map=${CMAKE_CURRENT_SOURCE_DIR}/=)
endfunction()

# kz_add_library(NAME ALIAS NAME DESCRIPTION TEXT INCLUDE_DIR DIR SOURCES ... LINK ...
#                [COMPONENT NAME] [STATIC_REQUIRES NAMES] [STATIC_LIBS FLAGS])
#
# Makes the library NAME, known to hosts as kz::ALIAS, with hidden symbols and an export header,
# and NAME_objects with the same objects, for tests that look inside. Installs it where that is
# asked for, as a COMPONENT of the CMake package or as a part that is always there; STATIC_REQUIRES
# and STATIC_LIBS are what pkg-config adds for a static library.
function(kz_add_library name)
  cmake_parse_arguments(arg "" "ALIAS;DESCRIPTION;INCLUDE_DIR;COMPONENT;STATIC_REQUIRES;STATIC_LIBS"
    "SOURCES;LINK;LINK_OBJECTS" ${ARGN})
  set(export_dir ${CMAKE_CURRENT_BINARY_DIR}/export)

  add_library(${name}_objects OBJECT ${arg_SOURCES})
  kz_compile_options(${name}_objects)
  separate_arguments(library_flags UNIX_COMMAND "${KZ_LIBRARY_FLAGS}")
  # Calls within a library need no detour over the symbols that it exports.
  target_compile_options(${name}_objects PRIVATE -fno-semantic-interposition ${library_flags})
  target_compile_options(${name}_objects PUBLIC ${kz_arithmetic_flags})
  set_target_properties(${name}_objects PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  generate_export_header(${name}_objects BASE_NAME ${name}
    EXPORT_FILE_NAME ${export_dir}/${name}_export.h
    CUSTOM_CONTENT_FROM_VARIABLE kz_export_header_end)
  target_include_directories(${name}_objects PUBLIC ${arg_INCLUDE_DIR} ${export_dir})
  target_link_libraries(${name}_objects PUBLIC Threads::Threads ${arg_LINK_OBJECTS})

  if(KZ_BUILD_SHARED_LIBS)
    add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
    kz_export_own_symbols_only(${name})
    target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions)
  else()
    add_library(${name} STATIC $<TARGET_OBJECTS:${name}_objects>)
    string(TOUPPER ${name} upper_name)
    target_compile_definitions(${name}_objects PUBLIC ${upper_name}_STATIC_DEFINE)
    target_compile_definitions(${name} PUBLIC ${upper_name}_STATIC_DEFINE)
  endif()
  add_library(kz::${arg_ALIAS} ALIAS ${name})
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE CXX
    EXPORT_NAME ${arg_ALIAS}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  target_compile_features(${name} PUBLIC cxx_std_17)
  target_compile_options(${name} PUBLIC ${kz_arithmetic_flags})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${arg_INCLUDE_DIR}> $<BUILD_INTERFACE:${export_dir}>)
  target_link_libraries(${name} PUBLIC Threads::Threads ${arg_LINK})

  if(KZ_INSTALL)
    kz_install_library(${name} "${arg_COMPONENT}" ${arg_INCLUDE_DIR} ${export_dir})
    if(KZ_BUILD_SHARED_LIBS)
      kz_install_pkgconfig_file(${name} "${arg_DESCRIPTION}" "${arg_LINK}" "" "")
    else()
      kz_install_pkgconfig_file(${name} "${arg_DESCRIPTION}" "${arg_LINK}"
        "${arg_STATIC_REQUIRES}" "${arg_STATIC_LIBS}")
    endif()
  endif()
endfunction()

# Hidden visibility does not reach instantiations of the standard library's templates, and which
# of these a compiler leaves behind varies; the linker keeps them inside.
function(kz_export_own_symbols_only target)
  set(map ${PROJECT_SOURCE_DIR}/cmake/own_symbols.map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
endfunction()
