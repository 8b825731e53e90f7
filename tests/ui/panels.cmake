# Tests of the monitor page, the toner widget, the printer list editor and the address editor.
add_library(fake_registry OBJECT fake_registry.cpp)
target_link_libraries(fake_registry PUBLIC kel_printer PRIVATE project_options)

kel_add_qtest(test_toner_widget SOURCES test_toner_widget.cpp LIBS fake_registry kel_ui LABELS ui)
kel_add_qtest(test_monitor_page_form SOURCES test_monitor_page_form.cpp LIBS fake_registry kel_ui LABELS ui)
kel_add_qtest(test_monitor_page SOURCES test_monitor_page.cpp LIBS fake_registry kel_ui LABELS ui)
kel_add_qtest(test_monitor_page_status SOURCES test_monitor_page_status.cpp LIBS fake_registry kel_ui LABELS ui)
kel_add_qtest(test_add_printer_page SOURCES test_add_printer_page.cpp LIBS fake_registry kel_ui LABELS ui)
kel_add_qtest(test_add_printer_page_form SOURCES test_add_printer_page_form.cpp LIBS fake_registry kel_ui LABELS ui)
kel_add_qtest(test_line_edit_ip SOURCES test_line_edit_ip.cpp LIBS fake_registry kel_ui LABELS ui)
kel_add_qtest(test_line_edit_ip_keys SOURCES test_line_edit_ip_keys.cpp LIBS fake_registry kel_ui LABELS ui)
kel_add_qtest(test_line_edit_ip_filter SOURCES test_line_edit_ip_filter.cpp LIBS fake_registry kel_ui LABELS ui)
kel_add_qtest(test_panels_registry SOURCES test_panels_registry.cpp LIBS kel_test_support kel_ui LABELS ui)
