# The history of tarn-status: its size, and the time that a look takes.
add_executable(history_bench history_bench.cpp report.cpp)
target_link_libraries(history_bench PRIVATE tarn_status_core PkgConfig::JSONCPP project_options)
