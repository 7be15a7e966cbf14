# What every target of this project has in common.

include(GenerateExportHeader)

# Warnings, the language level and bare file names in __FILE__, for the project's own sources only.
function(kz_compile_options target)
  target_compile_features(${target} PRIVATE cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wconversion -Wshadow
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    -fmacro-prefix-map=${CMAKE_CURRENT_SOURCE_DIR}/=)
endfunction()

# kz_add_library(NAME INCLUDE_DIR DIR SOURCES ... LINK ...)
#
# Makes the shared library NAME with hidden symbols and an export header, and NAME_objects with
# the same objects, for tests that look inside.
function(kz_add_library name)
  cmake_parse_arguments(arg "" "INCLUDE_DIR" "SOURCES;LINK;LINK_OBJECTS" ${ARGN})

  add_library(${name}_objects OBJECT ${arg_SOURCES})
  kz_compile_options(${name}_objects)
  # Calls within a library need no detour over the symbols that it exports.
  target_compile_options(${name}_objects PRIVATE -fno-semantic-interposition)
  set_target_properties(${name}_objects PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  generate_export_header(${name}_objects BASE_NAME ${name}
    EXPORT_FILE_NAME ${CMAKE_CURRENT_BINARY_DIR}/export/${name}_export.h)
  target_include_directories(${name}_objects PUBLIC
    ${arg_INCLUDE_DIR} ${CMAKE_CURRENT_BINARY_DIR}/export)
  target_link_libraries(${name}_objects PUBLIC Threads::Threads ${arg_LINK_OBJECTS})

  add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
  set_target_properties(${name} PROPERTIES
    LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  target_include_directories(${name} PUBLIC
    ${arg_INCLUDE_DIR} ${CMAKE_CURRENT_BINARY_DIR}/export)
  target_link_libraries(${name} PUBLIC Threads::Threads ${arg_LINK})
endfunction()
