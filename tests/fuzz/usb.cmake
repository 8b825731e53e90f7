kel_add_fuzz(fuzz_usb_descriptors SOURCES usb_descriptors_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/usb_descriptors)
kel_add_fuzz(fuzz_ipp_usb_state SOURCES ipp_usb_state_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/ipp_usb_state)
