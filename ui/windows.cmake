# Main window, printer list page, settings and About dialogs.
