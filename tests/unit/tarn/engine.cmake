kel_add_gtest(tarn_base_test SOURCES base/base_test.cpp base/exit_hook_test.cpp base/file_keeper_test.cpp base/inbox_test.cpp
    support/stalled_rename.cpp base/socket_pair_test.cpp LIBS tarn_core ${CMAKE_DL_LIBS})
kel_add_gtest(tarn_catalog_test SOURCES catalog/catalog_test.cpp catalog/config_file_test.cpp catalog/config_users_test.cpp catalog/last_values_test.cpp LIBS tarn_core)
kel_add_gtest(tarn_engine_test
    SOURCES engine/cadence_test.cpp engine/engine_test.cpp engine/small_parts_test.cpp engine/target_test.cpp support/short_memory.cpp
    LIBS tarn_core)
kel_add_gtest(tarn_usm_test
    SOURCES snmp/poll/fake_session.cpp
            usm/agent_process.cpp
            usm/fake_agent.cpp
            usm/usm_codec_test.cpp
            usm/usm_peer_test.cpp
            usm/usm_polling_test.cpp
            usm/usm_thread_test.cpp
    LIBS recorded_agent)
target_compile_definitions(tarn_usm_test PRIVATE KEL_SNMP_DATA="${PROJECT_SOURCE_DIR}/tests/data/snmp")
target_include_directories(tarn_usm_test SYSTEM PRIVATE ${NET_SNMP_INCLUDE_DIR})
kel_add_gtest(tarn_library_test
    SOURCES api/earlier_values_test.cpp api/library_test.cpp api/loopback_agent.cpp api/options_test.cpp api/poisoned_models_test.cpp api/roster_test.cpp snmp/poll/fake_session.cpp
            support/short_memory.cpp support/stalled_rename.cpp
    LIBS tarn_core)
kel_add_gtest(tarn_abi_test SOURCES api/abi_test.cpp LIBS tarn PkgConfig::JSONCPP)
target_compile_definitions(tarn_abi_test PRIVATE TARN_LIBRARY="$<TARGET_FILE:tarn>"
                                                 TARN_EXPECTED_VERSION="${PROJECT_VERSION}")
# Loaded by the test itself, and unloaded.
kel_add_gtest(tarn_unload_test SOURCES api/unload_test.cpp LIBS ${CMAKE_DL_LIBS})
target_compile_definitions(tarn_unload_test PRIVATE TARN_LIBRARY="$<TARGET_FILE:tarn>")
target_include_directories(tarn_unload_test PRIVATE "$<TARGET_PROPERTY:tarn,INTERFACE_INCLUDE_DIRECTORIES>")
set_target_properties(tarn_unload_test PROPERTIES ENABLE_EXPORTS ON) # so that the library makes its objects with the test's operators
add_dependencies(tarn_unload_test tarn)
kel_add_gtest(tarn_stalled_home_test SOURCES api/stalled_home_test.cpp support/stalled_rename.cpp LIBS ${CMAKE_DL_LIBS})
target_compile_definitions(tarn_stalled_home_test PRIVATE TARN_LIBRARY="$<TARGET_FILE:tarn>")
target_include_directories(tarn_stalled_home_test PRIVATE "$<TARGET_PROPERTY:tarn,INTERFACE_INCLUDE_DIRECTORIES>")
set_target_properties(tarn_stalled_home_test PROPERTIES ENABLE_EXPORTS ON) # so that the library renames with the test's rename()
add_dependencies(tarn_stalled_home_test tarn)
# The library finds the program's allocations, and its socket() and the like, before the C library's.
kel_add_gtest(tarn_scarcity_test SOURCES api/scarcity_test.cpp ${PROJECT_SOURCE_DIR}/tests/support/failing_calls.cpp
              LIBS recorded_agent ${CMAKE_DL_LIBS} LONG_RUNNING)
target_compile_definitions(tarn_scarcity_test PRIVATE TARN_LIBRARY="$<TARGET_FILE:tarn>"
    KEL_SNMP_DATA="${PROJECT_SOURCE_DIR}/tests/data/snmp")
target_include_directories(tarn_scarcity_test PRIVATE "$<TARGET_PROPERTY:tarn,INTERFACE_INCLUDE_DIRECTORIES>")
set_target_properties(tarn_scarcity_test PROPERTIES ENABLE_EXPORTS ON)
add_dependencies(tarn_scarcity_test tarn)
add_test(NAME tarn_scarcity_long COMMAND tarn_scarcity_test --gtest_output=xml:${KEL_REPORT_DIR}/tarn_scarcity_long.xml)
set_tests_properties(tarn_scarcity_long PROPERTIES LABELS long TIMEOUT 7200 ENVIRONMENT KEL_SCARCITY_SHARE=1)
kel_add_gtest(tarn_status_test
    SOURCES status/announcement_test.cpp status/command_line_test.cpp status/formats_test.cpp status/hostile_texts_test.cpp status/words_test.cpp
    LIBS tarn_status_core tarn_core)
# What a thread uses must not be destroyed when the process exits: see tarn/src/base/immortal.h. The exit hook
# registers a handler of its own by the same function.
add_test(NAME tarn_no_exit_destructors COMMAND sh -c "nm -A '$<TARGET_FILE:tarn_core>' >'${KEL_REPORT_DIR}/tarn_core.nm' 2>&1 || exit 2
    ! grep '__cxa_atexit' '${KEL_REPORT_DIR}/tarn_core.nm' | grep -v ':exit_hook[.]cpp[.]o:'")
# Nothing that a device says can be run: the library has nothing to run it with, and tarn-status nothing but what starts
# the program of --on-change, which is no shell.
foreach(target tarn tarn-status)
    set(starts "system|popen|v?fork|exec[lv]p?e?|execveat|fexecve|posix_spawnp|wordexp")
    if(target STREQUAL tarn)
        string(APPEND starts "|posix_spawn")
    endif()
    add_test(NAME ${target}_starts_nothing COMMAND sh -c "nm -D --undefined-only '$<TARGET_FILE:${target}>' >'${KEL_REPORT_DIR}/${target}_starts.nm' 2>&1 || exit 2
        ! grep -E ' (${starts})(@|$)' '${KEL_REPORT_DIR}/${target}_starts.nm'")
    set_tests_properties(${target}_starts_nothing PROPERTIES LABELS unit)
endforeach()
set_tests_properties(tarn_no_exit_destructors PROPERTIES LABELS unit)
