kel_add_fuzz(fuzz_scenario SOURCES scenario_fuzz.cpp LIBS printer_sim_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/scenario ${PROJECT_SOURCE_DIR}/tests/data)
kel_add_fuzz(fuzz_recording SOURCES recording_fuzz.cpp LIBS printer_sim_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/recording ${PROJECT_SOURCE_DIR}/tests/data)
kel_add_fuzz(fuzz_announcement SOURCES announcement_fuzz.cpp LIBS tarn_status_core tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/announcement)
kel_add_fuzz(fuzz_discovery SOURCES discovery_fuzz.cpp LIBS tarn_status_core tarn_core
             CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/discovery)
kel_add_fuzz(fuzz_history_row SOURCES history_row_fuzz.cpp LIBS tarn_status_core CORPUS ${CMAKE_CURRENT_SOURCE_DIR}/corpus/history_row)
