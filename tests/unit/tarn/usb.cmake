kel_add_gtest(tarn_usb_test
    SOURCES usb/descriptors_test.cpp
            usb/ipp_over_usb_test.cpp
            usb/printer_names_test.cpp
            usb/printer_status_test.cpp
            usb/scout_test.cpp
            usb/system_files_test.cpp
            usb/usb_backend_test.cpp
    LIBS tarn_core)
