# Installs the installation, at install time so that a prefix given to
# `cmake --install --prefix` counts. For the prefix /usr (the packages):
#   /etc/CVLParamcor/ParamCor.txt         the installation file, the administrator's
#   /etc/CVLParamcor/utente.reg           the settings new users start from, empty
#   /usr/share/CVLParamcor/Testi/         the delivered texts
#   /var/lib/CVLParamcor/Testi/           the text folder every operator writes
#   /srv/CVLParamcor                      the root of the workshop's data folders
# Another prefix keeps all of them under itself (PREFIX/etc, PREFIX/var/lib, ...).
# In: installation_file, user_skeleton, delivered_texts, datadir, scratch (a folder
# of the build).
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(root "")
else()
    set(root "${CMAKE_INSTALL_PREFIX}")
endif()
set(state "${root}/var/lib/CVLParamcor")
set(site "${root}/srv/CVLParamcor")
set(configuration "${root}/etc/CVLParamcor")

# The sample file, its folders moved out of the library's own folder: the texts to
# the shared state, everything else under the workshop's data root.
file(READ "${installation_file}" text)
string(REPLACE "<PROGRAM>Testi" "${state}/Testi" text "${text}")
string(REPLACE "<PROGRAM>" "<WINCOR>\\" text "${text}")
string(REPLACE "/srv/cvl/archivio" "<WINCOR>\\Archivio" text "${text}")
string(REGEX REPLACE "\n(FOLDERS *= *[0-9]+)\n"
       "\n\\1\n\n' The root of the workshop's data folders, <WINCOR>\nFOLDER0  = Wincor,           ${site}\n"
       text "${text}")
set(generated "${scratch}/ParamCor.txt")
file(WRITE "${generated}" "${text}")
file(INSTALL "${generated}" DESTINATION "${configuration}")
# An administrator's skeleton is never replaced by the empty one (a package's is a
# conffile, which dpkg keeps).
if(NOT EXISTS "$ENV{DESTDIR}${configuration}/utente.reg")
    file(INSTALL "${user_skeleton}" DESTINATION "${configuration}")
endif()
file(INSTALL "${delivered_texts}" DESTINATION "${CMAKE_INSTALL_PREFIX}/${datadir}/CVLParamcor/Testi")
# Outside a package the texts are delivered at once; a package's maintainer
# scripts deliver them into the folder they set up for the operators' group.
if("$ENV{DESTDIR}" STREQUAL "")
    file(INSTALL "${delivered_texts}" DESTINATION "${state}/Testi")
endif()
