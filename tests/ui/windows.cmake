# Tests of the main window, the printer list page, the settings and About dialogs.
