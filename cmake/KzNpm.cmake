# kz_fetch_npm_packages(FOLDER)
#
# Fetches the packages that the package-lock.json beside the caller names into FOLDER, a copy, so that
# nothing is installed into the sources. FOLDER.stamp is there once they are.
function(kz_fetch_npm_packages folder)
  find_program(NPM npm REQUIRED)
  add_custom_command(
    OUTPUT ${folder}.stamp
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    COMMAND ${CMAKE_COMMAND} -E copy package.json package-lock.json ${folder}
    COMMAND ${NPM} ci --prefix ${folder} --ignore-scripts --no-audit --no-fund --loglevel=error
    COMMAND ${CMAKE_COMMAND} -E touch ${folder}.stamp
    WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
    DEPENDS package.json package-lock.json
    COMMENT "Fetching npm packages into ${folder}"
    VERBATIM)
endfunction()
