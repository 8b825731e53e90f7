# The monitor pane and the printer list editor, with the widgets that their forms embed.
target_sources(kel_ui PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/add_printer_page/add_printer_page.cpp
    ${CMAKE_CURRENT_LIST_DIR}/add_printer_page/add_printer_page.h
    ${CMAKE_CURRENT_LIST_DIR}/add_printer_page/add_printer_page.ui
    ${CMAKE_CURRENT_LIST_DIR}/line_edit_ip/line_edit_ip.cpp
    ${CMAKE_CURRENT_LIST_DIR}/line_edit_ip/line_edit_ip.h
    ${CMAKE_CURRENT_LIST_DIR}/monitor_page/monitor_page.cpp
    ${CMAKE_CURRENT_LIST_DIR}/monitor_page/monitor_page.h
    ${CMAKE_CURRENT_LIST_DIR}/monitor_page/monitor_page.ui
    ${CMAKE_CURRENT_LIST_DIR}/shown_text/presence_text.h
    ${CMAKE_CURRENT_LIST_DIR}/shown_text/shown_line_delegate.cpp
    ${CMAKE_CURRENT_LIST_DIR}/shown_text/shown_line_delegate.h
    ${CMAKE_CURRENT_LIST_DIR}/shown_text/shown_text.cpp
    ${CMAKE_CURRENT_LIST_DIR}/shown_text/shown_text.h
    ${CMAKE_CURRENT_LIST_DIR}/toner_widget/toner_widget.cpp
    ${CMAKE_CURRENT_LIST_DIR}/toner_widget/toner_widget.h
    ${CMAKE_CURRENT_LIST_DIR}/toner_widget/toner_widget.ui)
