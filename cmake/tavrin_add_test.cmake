# One call per test program:
#     tavrin_add_test(NAME tst_url SOURCES tst_url.cpp LIBRARIES tavrin_update_logic LABELS unit)
# A test runs in a fixed locale and without the user's display, so that its result does not depend on the machine. The
# label endtoend is for tests that start the built program; it is built before them.
include_guard()
include(warnings)

function(tavrin_add_test)
    cmake_parse_arguments(TEST "" "NAME" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT" ${ARGN})
    if(TEST_UNPARSED_ARGUMENTS OR NOT TEST_NAME OR NOT TEST_SOURCES OR NOT TEST_LABELS)
        message(FATAL_ERROR "tavrin_add_test needs NAME, SOURCES and LABELS; unknown: '${TEST_UNPARSED_ARGUMENTS}'")
    endif()

    add_executable(${TEST_NAME} ${TEST_SOURCES})
    target_link_libraries(${TEST_NAME} PRIVATE tavrin_test_kit ${TEST_LIBRARIES} Qt5::Test)
    tavrin_target_options(${TEST_NAME})
    if("endtoend" IN_LIST TEST_LABELS)
        add_dependencies(${TEST_NAME} tavrin_update fake_pidrtsys late_threads starter)
    endif()

    add_test(NAME ${TEST_NAME} COMMAND ${TEST_NAME})
    # QtTest has its own time limit for a slot with all its rows, which would be shorter than the one below.
    set(environment QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8 QTEST_FUNCTION_TIMEOUT=900000 ${TEST_ENVIRONMENT})
    if(TAVRIN_SANITIZE)
        list(APPEND environment
            "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/kit/lsan.supp:print_suppressions=0"
            "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1")
        if("gui" IN_LIST TEST_LABELS OR "tavrin_update_gui" IN_LIST TEST_LIBRARIES)
            # Qt is built without frame pointers; only the slow way shows where a leak is from.
            list(APPEND environment ASAN_OPTIONS=fast_unwind_on_malloc=0)
        endif()
    endif()
    # Only ends a test that hangs: a slow test on a busy machine takes minutes.
    set_tests_properties(${TEST_NAME} PROPERTIES LABELS "${TEST_LABELS}" TIMEOUT 900 ENVIRONMENT "${environment}")
endfunction()
