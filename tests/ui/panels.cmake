# Tests of the monitor page, the toner widget, the printer list editor and the address editor.
