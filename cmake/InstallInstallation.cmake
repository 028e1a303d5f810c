# Installs the installation folder, at install time so that a prefix given to
# `cmake --install --prefix` counts. The text folder moves from beside the library
# to the shared state folder of the prefix (/var/lib/CVLParamcor for /usr): every
# operator of the suite writes the text database, nobody writes under /usr.
# In: installation_file, delivered_texts, datadir, scratch (a folder of the build).
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(state "/var/lib/CVLParamcor")
else()
    set(state "${CMAKE_INSTALL_PREFIX}/var/lib/CVLParamcor")
endif()
file(READ "${installation_file}" text)
string(REPLACE "<PROGRAM>Testi" "${state}/Testi" text "${text}")
set(generated "${scratch}/ParamCor.txt")
file(WRITE "${generated}" "${text}")
file(INSTALL "${generated}" DESTINATION "${CMAKE_INSTALL_PREFIX}/${datadir}/CVLParamcor")
file(INSTALL "${delivered_texts}" DESTINATION "${CMAKE_INSTALL_PREFIX}/${datadir}/CVLParamcor/Testi")
# Outside a package the texts are delivered at once; a package's maintainer
# scripts deliver them into the folder they set up for the operators' group.
if("$ENV{DESTDIR}" STREQUAL "")
    file(INSTALL "${delivered_texts}" DESTINATION "${state}/Testi")
endif()
