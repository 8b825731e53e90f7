add_library(recorded_agent OBJECT ${PROJECT_SOURCE_DIR}/tests/support/recorded_agent.cpp)
target_link_libraries(recorded_agent PUBLIC tarn_core PRIVATE project_options)
foreach(suite
        snmp/wire/codec snmp/wire/reply_digest snmp/wire/reply_check
        snmp/mib/charset snmp/mib/hostile_texts snmp/mib/identity_words snmp/mib/packed_tables snmp/mib/status snmp/mib/quirks
        snmp/poll/fast_columns snmp/poll/readers snmp/poll/request_sizing snmp/poll/session snmp/poll/session_replay
        device/alert_texts device/device_id device/packed_status device/make_and_model
        device/rendering device/serial_number device/state_words device/supply_words device/word_search)
    string(REGEX REPLACE "/(.*/)?" "_" name ${suite}) # of its room
    kel_add_gtest(tarn_${name}_test
        SOURCES ${suite}_test.cpp
        LIBS recorded_agent)
    target_compile_definitions(tarn_${name}_test PRIVATE KEL_SNMP_DATA="${PROJECT_SOURCE_DIR}/tests/data/snmp")
endforeach()
kel_add_gtest(tarn_snmp_poll_test
    SOURCES snmp/poll/fake_session.cpp
            snmp/poll/question_pool_test.cpp
            snmp/poll/read_results_test.cpp
            snmp/poll/replay_cache_test.cpp
            snmp/poll/simulated_network.cpp
            snmp/poll/udp_port_test.cpp
            snmp/poll/udp_transport_test.cpp
    LIBS tarn_core)
# Hours of thousands of printers, by a simulated clock and in one thread.
kel_add_gtest(tarn_simulated_network_test
    SOURCES snmp/poll/fake_session.cpp
            snmp/poll/hostile_network_test.cpp
            snmp/poll/lossy_network_test.cpp
            snmp/poll/mass_silence_test.cpp
            snmp/poll/polling_scenarios_test.cpp
            snmp/poll/silence_scenarios_test.cpp
            snmp/poll/simulated_network.cpp
    LIBS recorded_agent LONG_RUNNING)
target_compile_definitions(tarn_simulated_network_test PRIVATE KEL_SNMP_DATA="${PROJECT_SOURCE_DIR}/tests/data/snmp")
# By itself, since it replaces the program's operators new and delete.
kel_add_gtest(tarn_short_memory_test
    SOURCES snmp/poll/fake_session.cpp snmp/poll/short_memory_test.cpp snmp/poll/simulated_network.cpp support/short_memory.cpp
    LIBS tarn_core)
# What plays and judges in other tests.
kel_add_gtest(tarn_test_support_test
    SOURCES support/json_text_test.cpp support/recorded_agent_test.cpp ${PROJECT_SOURCE_DIR}/tests/support/json_text.cpp
    LIBS recorded_agent)
