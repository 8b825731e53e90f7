# The bare window that the program is measured beside, and the plugin that bench/*.py drive both through.
add_executable(bare_window bare_window.cpp)
target_link_libraries(bare_window PRIVATE Qt5::Widgets project_options)
if(NOT TARGET kelremote)
    add_subdirectory(${PROJECT_SOURCE_DIR}/tests/support/remote_control ${CMAKE_BINARY_DIR}/tests/support/remote_control)
endif()
