kel_add_fuzz(fuzz_snmp_reply SOURCES snmp_reply_fuzz.cpp LIBS tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/snmp_reply)
kel_add_fuzz(fuzz_snmp_walk SOURCES snmp_walk_fuzz.cpp ${PROJECT_SOURCE_DIR}/tests/support/recorded_agent.cpp
             LIBS tarn_core CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/snmp_walk)
kel_add_fuzz(fuzz_charset SOURCES charset_fuzz.cpp LIBS tarn_core CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/charset)
