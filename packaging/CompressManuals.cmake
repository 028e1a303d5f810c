# Run by CPack on the staged files: Debian installs manual pages compressed.
file(GLOB_RECURSE staged "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
list(FILTER staged INCLUDE REGEX "/share/man/man[1-9]/[^/]+\\.[1-9]$")
foreach(page IN LISTS staged)
    execute_process(COMMAND gzip -9nf "${page}" RESULT_VARIABLE failed)
    if(failed)
        message(FATAL_ERROR "cannot compress ${page}")
    endif()
endforeach()
