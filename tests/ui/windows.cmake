# Tests of the main window, the printer list page, the settings and About dialogs.
foreach(
    name
    test_about_dialog
    test_accessible
    test_setting_page
    test_main_window
    test_main_window_actions
    test_main_window_status
    test_printer_list_page
    test_printer_list_page_status
    test_printer_list_geometry
    test_printer_list_equivalence)
    kel_add_qtest(${name} SOURCES ${name}.cpp LIBS fake_registry kel_ui LABELS ui)
endforeach()
find_file(KEL_FONT wqy-zenhei.ttc PATHS /usr/share/fonts/truetype/wqy /usr/share/fonts/wenquanyi/wqy-zenhei)
target_compile_definitions(test_main_window PRIVATE KEL_TEST_FONT="${KEL_FONT}")
if(TARGET twheel)
    kel_add_qtest(test_windows_registry SOURCES test_windows_registry.cpp LIBS kel_test_support kel_ui LABELS ui)
endif()
