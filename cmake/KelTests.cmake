# Test executables. Each is one ctest entry and writes a JUnit report into build/<preset>/reports, from which
# scripts/test counts the single tests.
#
#   kel_add_gtest(<name> SOURCES a.cpp ... LIBS target ... [LABELS unit] [TIMEOUT s] [LOCK name] [ENV "A=b" ...]
#                 [LONG_RUNNING])
#   kel_add_qtest(<name> SOURCES a.cpp ... LIBS target ... [...])   one QtTest class, run on the offscreen platform
#
# LOCK serialises tests that share something of the machine: kel_lock is /tmp/kel.lock;
# others keep the processor for one test of a kind at a time. LONG_RUNNING ones take minutes under a sanitizer: they are
# begun right after those with a lock, so that they are not waited for in the end.
set(KEL_REPORT_DIR ${CMAKE_BINARY_DIR}/reports)
file(MAKE_DIRECTORY ${KEL_REPORT_DIR})
find_package(GTest REQUIRED)
if(KEL_GUI)
    find_package(Qt5 5.15 REQUIRED COMPONENTS Core Gui Widgets Test)
endif()

# _kel_test_headers(<name> LIBS target ... HEADERS <header> ...): a target of which tests take the precompiled headers.
# Position-independent as Qt wants its users, so that one set serves tests with and without Qt.
function(_kel_test_headers name)
    cmake_parse_arguments(H "" "" "LIBS;HEADERS" ${ARGN})
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp "int main() {}\n")
    add_executable(${name} EXCLUDE_FROM_ALL ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
    target_compile_options(${name} PRIVATE -fPIC)
    target_link_libraries(${name} PRIVATE ${H_LIBS} project_options)
    target_precompile_headers(${name} PRIVATE ${H_HEADERS})
endfunction()

# Once, in the directory of the tests, whose compiler options these targets must have.
function(kel_test_headers)
    _kel_test_headers(kel_gtest_headers LIBS GTest::gmock GTest::gtest_main HEADERS <gmock/gmock.h> <gtest/gtest.h>
        <algorithm> <atomic> <chrono> <cstdlib> <fstream> <functional> <map> <memory> <random> <set> <sstream> <string>
        <thread> <vector>)
    if(KEL_GUI)
        _kel_test_headers(kel_qtest_headers LIBS Qt5::Test Qt5::Widgets HEADERS <QtTest> <QApplication> <QComboBox>
            <QGridLayout> <QLabel> <QLineEdit> <QListWidget> <QMessageBox> <QPlainTextEdit> <QProgressBar> <QPushButton>)
    endif()
endfunction()

function(_kel_use_headers name headers)
    target_compile_options(${name} PRIVATE -fPIC)
    target_precompile_headers(${name} REUSE_FROM ${headers})
endfunction()

# kel_time_out(<variable>): as many times longer as an emulator is slower.
function(kel_time_out variable)
    if(CMAKE_CROSSCOMPILING)
        math(EXPR seconds "${${variable}} * 10")
        set(${variable} ${seconds} PARENT_SCOPE)
    endif()
endfunction()

function(_kel_test_common name)
    cmake_parse_arguments(T "LONG_RUNNING" "TIMEOUT;LOCK" "SOURCES;LIBS;LABELS;ENV" ${ARGN})
    if(NOT T_LABELS)
        set(T_LABELS unit)
    endif()
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 120)
    endif()
    if(KEL_SANITIZE OR KEL_COVERAGE) # several times slower, too
        math(EXPR T_TIMEOUT "${T_TIMEOUT} * 10")
    endif()
    kel_time_out(T_TIMEOUT)
    set_tests_properties(${name} PROPERTIES LABELS "${T_LABELS}" TIMEOUT ${T_TIMEOUT})
    set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT ${T_ENV})
    if(KEL_FAST_STACKS) # by frame pointers, at a seventh of the time
        set_property(TEST ${name} PROPERTY ENVIRONMENT_MODIFICATION "ASAN_OPTIONS=string_append::fast_unwind_on_malloc=1")
    endif()
    if(T_LOCK)
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK ${T_LOCK} COST 1000)
    elseif(T_LONG_RUNNING)
        set_tests_properties(${name} PROPERTIES COST 500)
    endif()
endfunction()

function(kel_add_gtest name)
    cmake_parse_arguments(T "LONG_RUNNING" "TIMEOUT;LOCK" "SOURCES;LIBS;LABELS;ENV" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gmock GTest::gtest_main project_options)
    _kel_use_headers(${name} kel_gtest_headers)
    add_test(NAME ${name} COMMAND ${name} --gtest_output=xml:${KEL_REPORT_DIR}/${name}.xml)
    _kel_test_common(${name} ${ARGN})
endfunction()

function(kel_add_qtest name)
    cmake_parse_arguments(T "LONG_RUNNING" "TIMEOUT;LOCK" "SOURCES;LIBS;LABELS;ENV" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests AUTOMOC ON)
    target_link_libraries(${name} PRIVATE ${T_LIBS} Qt5::Test project_options)
    _kel_use_headers(${name} kel_qtest_headers)
    add_test(NAME ${name} COMMAND ${name} -o ${KEL_REPORT_DIR}/${name}.xml,junitxml -o -,txt)
    set_property(TEST ${name} PROPERTY ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
    _kel_test_common(${name} ${ARGN})
endfunction()
