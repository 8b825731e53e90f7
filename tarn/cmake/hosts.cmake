# What programs outside this tree find the library by: pkg-config and find_package(tarn). In the build tree both name its
# own paths; pkg-config takes tarn-uninstalled.pc before tarn.pc. Templates and targets serve an installation as well:
# tarn.pc.in wants TARN_PC_LIBDIR and TARN_PC_INCLUDEDIR, install(EXPORT) the file tarnTargets.cmake beside
# tarnConfig.cmake and tarnConfigVersion.cmake.
include(CMakePackageConfigHelpers)

set(TARN_PC_LIBDIR ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(TARN_PC_INCLUDEDIR ${CMAKE_CURRENT_SOURCE_DIR}/include)
configure_file(cmake/tarn.pc.in ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/pkgconfig/tarn-uninstalled.pc @ONLY)

set(package_dir ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/cmake/tarn)
configure_file(cmake/tarnConfig.cmake.in ${package_dir}/tarnConfig.cmake COPYONLY)
write_basic_package_version_file(${package_dir}/tarnConfigVersion.cmake COMPATIBILITY SameMajorVersion)
export(TARGETS tarn NAMESPACE tarn:: FILE ${package_dir}/tarnTargets.cmake)
