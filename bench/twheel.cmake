# The scheduler against other timer engines. Peers that are not installed are left out of the table.
pkg_check_modules(LIBEVENT IMPORTED_TARGET libevent_core)
pkg_check_modules(LIBUV IMPORTED_TARGET libuv)
pkg_check_modules(GLIB IMPORTED_TARGET glib-2.0)
add_executable(twheel_bench
    twheel/engine_asio.cpp
    twheel/engine_floor.cpp
    twheel/engine_glib.cpp
    twheel/engine_libevent.cpp
    twheel/engine_libuv.cpp
    twheel/engine_ours.cpp
    twheel/engine_plain_wheel.cpp
    twheel/engine_qt.cpp
    twheel/figures.cpp
    twheel/figures_pairs.cpp
    twheel/figures_periodic.cpp
    twheel/lateness.cpp
    twheel/main.cpp
    report.cpp)
target_link_libraries(twheel_bench PRIVATE twheel project_options PkgConfig::JSONCPP)
if(LIBEVENT_FOUND)
    target_compile_definitions(twheel_bench PRIVATE KEL_HAVE_LIBEVENT)
    target_link_libraries(twheel_bench PRIVATE PkgConfig::LIBEVENT)
endif()
if(LIBUV_FOUND)
    target_compile_definitions(twheel_bench PRIVATE KEL_HAVE_LIBUV)
    target_link_libraries(twheel_bench PRIVATE PkgConfig::LIBUV)
endif()
if(GLIB_FOUND)
    target_compile_definitions(twheel_bench PRIVATE KEL_HAVE_GLIB)
    target_link_libraries(twheel_bench PRIVATE PkgConfig::GLIB)
endif()
if(TARGET Qt5::Core)
    target_compile_definitions(twheel_bench PRIVATE KEL_HAVE_QT)
    target_link_libraries(twheel_bench PRIVATE Qt5::Core)
endif()

# What callgrind counts, also behind the library's interface.
add_executable(twheel_instructions twheel/instructions.cpp)
target_link_libraries(twheel_instructions PRIVATE twheel_objects project_options)
