# Run after help2man: the paragraphs of --help headed "Commands...:" and
# "Options...:" become the sections COMMANDS and OPTIONS of the manual page,
# whatever else the help says. A help without them fails the build, so that the
# manual never silently loses them.
# In: page (the generated manual page, changed in place).
file(READ "${page}" text)
foreach(heading Commands Options)
    string(TOUPPER "${heading}" section)
    string(REGEX MATCH "\n(\\.SS )?\"?${heading}[^\n]*:\"?\n" found "${text}")
    if(NOT found)
        message(FATAL_ERROR "${page}: the help has no paragraph headed \"${heading}\"")
    endif()
    string(REPLACE "${found}" "\n.SH ${section}\n" text "${text}")
endforeach()
file(WRITE "${page}" "${text}")
