# The scheduler against other timer engines. Peers that are not installed are left out of the table.
pkg_check_modules(LIBEVENT IMPORTED_TARGET libevent_core)
pkg_check_modules(LIBUV IMPORTED_TARGET libuv)
add_executable(twheel_bench
    twheel/engines.cpp
    twheel/figures.cpp
    twheel/main.cpp
    twheel/report.cpp)
target_link_libraries(twheel_bench PRIVATE twheel project_options PkgConfig::JSONCPP)
if(LIBEVENT_FOUND)
    target_compile_definitions(twheel_bench PRIVATE KEL_HAVE_LIBEVENT)
    target_link_libraries(twheel_bench PRIVATE PkgConfig::LIBEVENT)
endif()
if(LIBUV_FOUND)
    target_compile_definitions(twheel_bench PRIVATE KEL_HAVE_LIBUV)
    target_link_libraries(twheel_bench PRIVATE PkgConfig::LIBUV)
endif()

# What callgrind counts, also behind the library's interface.
add_executable(twheel_instructions twheel/instructions.cpp)
target_link_libraries(twheel_instructions PRIVATE twheel_objects project_options)
