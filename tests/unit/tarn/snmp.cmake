foreach(suite
        snmp/charset snmp/codec snmp/kept_tables snmp/picture snmp/quirks snmp/readers snmp/session snmp/session_again
        device/alert_texts device/device_id device/kept_picture device/make_and_model
        device/rendering device/supply_words)
    string(REPLACE "/" "_" name ${suite})
    kel_add_gtest(tarn_${name}_test
        SOURCES ${suite}_test.cpp ${PROJECT_SOURCE_DIR}/tests/support/recorded_agent.cpp
        LIBS tarn_core)
    target_compile_definitions(tarn_${name}_test PRIVATE KEL_SNMP_DATA="${PROJECT_SOURCE_DIR}/tests/data/snmp")
endforeach()
