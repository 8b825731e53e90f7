kel_add_gtest(tarn_usb_test
    SOURCES usb/descriptors_test.cpp
            usb/ipp_over_usb_test.cpp
            usb/libusb_bus_test.cpp
            usb/printer_names_test.cpp
            usb/printer_status_test.cpp
            usb/usb_inventory_test.cpp
            usb/system_files_test.cpp
            usb/usb_backend_test.cpp
    LIBS tarn_core)
add_library(fake_libusb MODULE usb/fake_libusb.cpp)
target_link_libraries(fake_libusb PRIVATE project_options)
target_compile_definitions(tarn_usb_test PRIVATE FAKE_LIBUSB="$<TARGET_FILE:fake_libusb>")
add_dependencies(tarn_usb_test fake_libusb)
