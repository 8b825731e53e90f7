# The library's engine beside the raw limit and Net-SNMP. A peer that is not installed is left out of the table.
find_path(NET_SNMP_INCLUDE net-snmp/net-snmp-config.h)
find_library(NET_SNMP_LIBRARY netsnmp)
add_executable(tarn_engine_bench
    tarn_engine/abi_figures.cpp
    tarn_engine/answers.cpp
    tarn_engine/braa_polls.cpp
    tarn_engine/engine_polls.cpp
    tarn_engine/engine_rounds.cpp
    tarn_engine/instruction_hooks.cpp
    tarn_engine/main.cpp
    tarn_engine/net_snmp_polls.cpp
    tarn_engine/responder.cpp
    report.cpp
    ${PROJECT_SOURCE_DIR}/tests/hostile/library_session.cpp
    ${PROJECT_SOURCE_DIR}/tests/hostile/own_process.cpp
    ${PROJECT_SOURCE_DIR}/tests/support/recorded_agent.cpp)
target_compile_definitions(tarn_engine_bench PRIVATE
    KEL_BENCH_PRINTER="${PROJECT_SOURCE_DIR}/tests/data/snmp/colour-laser.snmprec")
target_link_libraries(tarn_engine_bench PRIVATE tarn tarn_core PkgConfig::JSONCPP Threads::Threads project_options)
if(NET_SNMP_INCLUDE AND NET_SNMP_LIBRARY)
    target_compile_definitions(tarn_engine_bench PRIVATE KEL_HAVE_NET_SNMP)
    target_include_directories(tarn_engine_bench SYSTEM PRIVATE ${NET_SNMP_INCLUDE})
    target_link_libraries(tarn_engine_bench PRIVATE ${NET_SNMP_LIBRARY})
endif()
# What callgrind counts of the library; run by bench/instructions.py.
add_executable(tarn_instructions
    tarn_engine/answers.cpp
    tarn_engine/engine_rounds.cpp
    tarn_engine/instruction_hooks.cpp
    tarn_engine/instructions_main.cpp
    tarn_engine/responder.cpp
    ${PROJECT_SOURCE_DIR}/tests/hostile/library_session.cpp
    ${PROJECT_SOURCE_DIR}/tests/hostile/own_process.cpp
    ${PROJECT_SOURCE_DIR}/tests/support/recorded_agent.cpp)
target_compile_definitions(tarn_instructions PRIVATE
    KEL_BENCH_PRINTER="${PROJECT_SOURCE_DIR}/tests/data/snmp/colour-laser.snmprec")
target_link_libraries(tarn_instructions PRIVATE tarn tarn_core PkgConfig::JSONCPP Threads::Threads project_options)
