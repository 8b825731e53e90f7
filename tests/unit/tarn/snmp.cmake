add_library(recorded_agent OBJECT ${PROJECT_SOURCE_DIR}/tests/support/recorded_agent.cpp)
target_link_libraries(recorded_agent PUBLIC tarn_core PRIVATE project_options)
foreach(suite
        snmp/charset snmp/codec snmp/fast_columns snmp/hostile_texts snmp/identity_words snmp/kept_tables snmp/picture snmp/quirks
        snmp/readers snmp/request_sizing snmp/session snmp/session_replay
        device/alert_texts device/device_id device/kept_picture device/make_and_model
        device/rendering device/serial_number device/state_words device/supply_words device/word_search)
    string(REPLACE "/" "_" name ${suite})
    kel_add_gtest(tarn_${name}_test
        SOURCES ${suite}_test.cpp
        LIBS recorded_agent)
    target_compile_definitions(tarn_${name}_test PRIVATE KEL_SNMP_DATA="${PROJECT_SOURCE_DIR}/tests/data/snmp")
endforeach()
