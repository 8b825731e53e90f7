kel_add_fuzz(fuzz_snmp_reply SOURCES snmp_reply_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/snmp_reply)
kel_add_fuzz(fuzz_snmp_walk SOURCES snmp_walk_fuzz.cpp ${PROJECT_SOURCE_DIR}/tests/support/recorded_agent.cpp
                                    ${PROJECT_SOURCE_DIR}/tests/support/json_text.cpp
             LIBS tarn_core CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/snmp_walk)
kel_add_fuzz(fuzz_snmp_conversation SOURCES snmp_conversation_fuzz.cpp ${PROJECT_SOURCE_DIR}/tests/support/recorded_agent.cpp
             LIBS tarn_core CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/snmp_conversation)
foreach(target fuzz_snmp_conversation fuzz_snmp_conversation_replay) # either, see kel_add_fuzz()
    if(TARGET ${target})
        target_compile_definitions(${target} PRIVATE KEL_SNMP_DATA="${PROJECT_SOURCE_DIR}/tests/data/snmp")
    endif()
endforeach()
kel_add_fuzz(fuzz_charset SOURCES charset_fuzz.cpp LIBS tarn_core CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/charset)
