kel_add_fuzz(fuzz_device_id SOURCES device_id_fuzz.cpp LIBS tarn_core CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/device_id)
