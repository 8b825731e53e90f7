# Where things are installed: relative to the prefix, so that an installed tree may be moved. Components: kel, tarn,
# tools, dev. Each room installs what it builds, packaging/ all the rest.
include(GNUInstallDirs)
set(KEL_PRIVATE_DIR ${CMAKE_INSTALL_LIBDIR}/kel CACHE STRING "What nobody but the program uses: its bin/ and lib/")
set(KEL_PYTHON_DIR ${KEL_PRIVATE_DIR}/python CACHE STRING "Where the Python module tarn goes")

# kel_relative_path(<variable> <from> <to>): the way from one installed directory to another.
function(kel_relative_path variable from to)
    file(RELATIVE_PATH path /${from} /${to})
    set(${variable} ${path} PARENT_SCOPE)
endfunction()

# kel_install_link(<component> <directory> <name> <target>): a symbolic link, which need not lead anywhere yet.
function(kel_install_link component directory name target)
    set(links ${CMAKE_BINARY_DIR}/links/${directory})
    file(MAKE_DIRECTORY ${links})
    file(CREATE_LINK ${target} ${links}/${name} SYMBOLIC)
    install(FILES ${links}/${name} DESTINATION ${directory} COMPONENT ${component})
endfunction()

# Programs find the library from where they are, and need not be told in a directory that the linker searches anyway.
set(KEL_LIBDIR_IS_SEARCHED OFF)
if(CMAKE_INSTALL_FULL_LIBDIR IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
    set(KEL_LIBDIR_IS_SEARCHED ON)
endif()

set(own ${KEL_PYTHON_DIR}/tarn ${KEL_PRIVATE_DIR} ${CMAKE_INSTALL_INCLUDEDIR}/tarn ${CMAKE_INSTALL_LIBDIR}/cmake/tarn)
list(JOIN own " " own)
add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -D BUILD_DIR=${CMAKE_BINARY_DIR} -D OWN=${own} -P ${CMAKE_CURRENT_LIST_DIR}/Uninstall.cmake
    VERBATIM)
