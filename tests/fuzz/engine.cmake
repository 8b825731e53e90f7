kel_add_fuzz(fuzz_printer_list SOURCES printer_list_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/printer_list)
kel_add_fuzz(fuzz_tarn_config SOURCES tarn_config_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/tarn_config)
kel_add_fuzz(fuzz_identity_cache SOURCES identity_cache_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/identity_cache)
kel_add_fuzz(fuzz_tarn_options SOURCES tarn_options_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/tarn_options)
kel_add_fuzz(fuzz_reply_check SOURCES reply_check_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/reply_check)
kel_add_fuzz(fuzz_message_readers SOURCES message_readers_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/reply_check ${CMAKE_CURRENT_SOURCE_DIR}/corpus/snmp_reply)
kel_add_fuzz(fuzz_usm_message SOURCES usm_message_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/usm_message)
kel_add_fuzz(fuzz_usm_conversation SOURCES usm_conversation_fuzz.cpp ${PROJECT_SOURCE_DIR}/tests/unit/tarn/usm/fake_agent.cpp
             LIBS tarn_core CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/usm_conversation)
foreach(target fuzz_usm_message fuzz_usm_message_replay fuzz_usm_conversation fuzz_usm_conversation_replay) # either, see kel_add_fuzz()
    if(TARGET ${target})
        target_include_directories(${target} SYSTEM PRIVATE ${NET_SNMP_INCLUDE_DIR})
    endif()
endforeach()
kel_add_fuzz(fuzz_last_values SOURCES last_values_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/last_values)
