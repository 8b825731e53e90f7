kel_add_fuzz(fuzz_library_list SOURCES library_list_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/library_list)
