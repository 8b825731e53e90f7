# What programs outside this tree find the library by: pkg-config and find_package(tarn). In the build tree both name its
# own paths; pkg-config takes tarn-uninstalled.pc before tarn.pc. Installed, both go by where they are themselves, unless it
# is a directory that everybody searches.
include(CMakePackageConfigHelpers)

# pkg-config takes flags apart as a shell does.
string(REPLACE " " "\\ " TARN_PC_LIBDIR "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
string(REPLACE " " "\\ " TARN_PC_INCLUDEDIR "${CMAKE_CURRENT_SOURCE_DIR}/include")
set(TARN_PC_RPATH "-Wl,-rpath,\${libdir} ")
configure_file(cmake/tarn.pc.in ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/pkgconfig/tarn-uninstalled.pc @ONLY)

set(package_dir ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/cmake/tarn)
configure_file(cmake/tarnConfig.cmake.in ${package_dir}/tarnConfig.cmake COPYONLY)
write_basic_package_version_file(${package_dir}/tarnConfigVersion.cmake COMPATIBILITY SameMajorVersion)
export(TARGETS tarn NAMESPACE tarn:: FILE ${package_dir}/tarnTargets.cmake)

if(KEL_LIBDIR_IS_SEARCHED)
    set(TARN_PC_LIBDIR ${CMAKE_INSTALL_FULL_LIBDIR})
    set(TARN_PC_INCLUDEDIR ${CMAKE_INSTALL_FULL_INCLUDEDIR})
    set(TARN_PC_RPATH)
else()
    set(TARN_PC_LIBDIR "\${pcfiledir}/..")
    kel_relative_path(include ${CMAKE_INSTALL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_INCLUDEDIR})
    set(TARN_PC_INCLUDEDIR "\${pcfiledir}/${include}")
endif()
configure_file(cmake/tarn.pc.in ${CMAKE_CURRENT_BINARY_DIR}/tarn.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tarn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
set(package_destination ${CMAKE_INSTALL_LIBDIR}/cmake/tarn)
install(FILES ${package_dir}/tarnConfig.cmake ${package_dir}/tarnConfigVersion.cmake
    DESTINATION ${package_destination} COMPONENT dev)
install(EXPORT tarnTargets NAMESPACE tarn:: DESTINATION ${package_destination} COMPONENT dev)
