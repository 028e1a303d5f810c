# The packages are built with Debian's own flags, every hardening feature on
# (dpkg-buildflags): fortified libc calls, stack protector, format checks, and
# relocations made read-only and bound at load time. Included before the targets.
find_program(DPKG_BUILDFLAGS dpkg-buildflags REQUIRED)
foreach(flags CPPFLAGS CXXFLAGS LDFLAGS)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env DEB_BUILD_MAINT_OPTIONS=hardening=+all
                            ${DPKG_BUILDFLAGS} --get ${flags}
                    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
                    OUTPUT_VARIABLE debian_${flags} OUTPUT_STRIP_TRAILING_WHITESPACE
                    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
string(APPEND CMAKE_CXX_FLAGS " ${debian_CPPFLAGS} ${debian_CXXFLAGS}")
foreach(kind EXE SHARED MODULE)
    string(APPEND CMAKE_${kind}_LINKER_FLAGS " ${debian_LDFLAGS}")
endforeach()
