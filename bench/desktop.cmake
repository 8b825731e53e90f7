# The window: the bare one that the program is measured beside, the plugin that bench/*.py drive both through, and
# what the GUI thread pays for many printers. Nothing of it without the program.
if(NOT KEL_GUI)
    return()
endif()
add_executable(bare_window bare_window.cpp)
target_link_libraries(bare_window PRIVATE Qt5::Widgets project_options)
if(NOT TARGET kelremote)
    add_subdirectory(${PROJECT_SOURCE_DIR}/tests/support/remote_control ${CMAKE_BINARY_DIR}/tests/support/remote_control)
endif()

add_executable(list_page_bench list_page_bench.cpp report.cpp)
target_compile_definitions(list_page_bench PRIVATE KEL_LIB_DIR="$<TARGET_FILE_DIR:tarn>")
target_link_libraries(list_page_bench PRIVATE kel_ui kel_printer kel_resources twheel PkgConfig::JSONCPP Qt5::Widgets
                                              project_options)
add_dependencies(list_page_bench tarn)
