# Monitor page, toner widget, printer list editor and address editor.
