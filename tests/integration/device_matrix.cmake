# device_matrix: the library against recordings of real printers, which are not part of this repository. ctest runs it
# where KEL_RECORDINGS names directories of them, joined by ':', and skips it elsewhere.
add_executable(device_matrix
    device_matrix/ipp_judge.cpp
    device_matrix/ipp_recording.cpp
    device_matrix/ipp_responder.cpp
    device_matrix/judge.cpp
    device_matrix/main.cpp
    device_matrix/reading.cpp
    device_matrix/serving.cpp
    ${PROJECT_SOURCE_DIR}/tests/support/recorded_agent.cpp)
target_compile_definitions(device_matrix PRIVATE
    DEVICE_MATRIX_LIBRARY="$<TARGET_FILE:tarn>"
    DEVICE_MATRIX_PRINTER_SIM="$<TARGET_FILE:printer-sim>")
target_link_libraries(device_matrix PRIVATE tarn_core PkgConfig::JSONCPP project_options ${CMAKE_DL_LIBS})
add_dependencies(device_matrix tarn printer-sim)
set(device_matrix_snmpsim --snmp)
set(device_matrix_sim --snmp --sim)
set(device_matrix_ipp --ipp)
set(device_matrix_ipp_ignoring --ipp --ignoring)
foreach(server snmpsim sim ipp ipp_ignoring)
    add_test(NAME device_matrix_${server} COMMAND device_matrix ${device_matrix_${server}} --brief)
    set_tests_properties(device_matrix_${server} PROPERTIES LABELS "integration;recordings" TIMEOUT 300 SKIP_RETURN_CODE 77
                                                            RESOURCE_LOCK device_matrix_port)
endforeach()
