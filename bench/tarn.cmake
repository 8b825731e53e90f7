# The library: what its callers wait, and what junk at its socket costs.
set(tarn_bench_sources report.cpp)
foreach(source flood library_session neighbourhood own_process sim_process)
    list(APPEND tarn_bench_sources ${PROJECT_SOURCE_DIR}/tests/hostile/${source}.cpp)
endforeach()
foreach(name tarn_abi_latency tarn_junk)
    add_executable(${name} ${name}.cpp ${tarn_bench_sources})
    target_compile_definitions(${name} PRIVATE KEL_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data"
                                               KEL_PRINTER_SIM="$<TARGET_FILE:printer-sim>")
    target_link_libraries(${name} PRIVATE tarn tarn_core PkgConfig::JSONCPP project_options)
    add_dependencies(${name} printer-sim)
endforeach()
