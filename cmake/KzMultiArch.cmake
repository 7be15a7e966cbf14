# Run by cpack on the packages that it made. Those of libraries hold nothing but files in folders of
# their architecture and files that are alike on all of them, so they may be installed for several
# architectures at once. This CPack has no variable that says so.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(package MATCHES "/lib[^/]*$")
    set(unpacked ${CPACK_TEMPORARY_DIRECTORY}/multi-arch)
    file(REMOVE_RECURSE ${unpacked})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${unpacked}
      COMMAND_ERROR_IS_FATAL ANY)
    file(READ ${unpacked}/DEBIAN/control control)
    string(REGEX REPLACE "(\nArchitecture: [^\n]*)" "\\1\nMulti-Arch: same" control "\n${control}")
    string(STRIP "${control}" control)
    file(WRITE ${unpacked}/DEBIAN/control "${control}\n")
    execute_process(COMMAND dpkg-deb --root-owner-group --build ${unpacked} ${package}
      OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
