target_sources(tarn_core PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/descriptors.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_over_usb.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ipp_usb.cpp
    ${CMAKE_CURRENT_LIST_DIR}/libusb_bus.cpp
    ${CMAKE_CURRENT_LIST_DIR}/libusb_library.cpp
    ${CMAKE_CURRENT_LIST_DIR}/printer_identity.cpp
    ${CMAKE_CURRENT_LIST_DIR}/printer_names.cpp
    ${CMAKE_CURRENT_LIST_DIR}/printer_status.cpp
    ${CMAKE_CURRENT_LIST_DIR}/rights.cpp
    ${CMAKE_CURRENT_LIST_DIR}/scout.cpp
    ${CMAKE_CURRENT_LIST_DIR}/scout_thread.cpp
    ${CMAKE_CURRENT_LIST_DIR}/sysfs.cpp
    ${CMAKE_CURRENT_LIST_DIR}/usb_backend.cpp)
