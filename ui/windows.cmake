# Main window, printer list page, settings and About dialogs.
target_sources(
    kel_ui
    PRIVATE
        main_window/main_window.h
        main_window/main_window.cpp
        main_window/main_window.ui
        printer_list_page/printer_list_page.h
        printer_list_page/printer_list_page.cpp
        printer_list_page/printer_list_page.ui
        printer_list_page/row_index.h
        printer_list_page/row_index.cpp
        setting_page/setting_page.h
        setting_page/setting_page.cpp
        setting_page/setting_page.ui
        about_dialog/about_dialog.h
        about_dialog/about_dialog.cpp
        about_dialog/about_dialog.ui)
