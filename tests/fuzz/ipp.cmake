kel_add_fuzz(fuzz_ipp_picture SOURCES ipp_picture_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/ipp_picture)
kel_add_fuzz(fuzz_ipp_response SOURCES ipp_response_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/ipp_response)
kel_add_fuzz(fuzz_ipp_shape SOURCES ipp_shape_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/ipp_shape)
kel_add_fuzz(fuzz_ipp_conversation SOURCES ipp_conversation_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/ipp_conversation)
