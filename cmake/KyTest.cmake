# ky_test(tst_name SOURCES a.cpp … LINK ky_service … [LIBS …] [DATA dir] [TIMEOUT s] [LABELS …])
# One Qt Test program. LINK names the object libraries that come into it. DATA is a folder that
# the program finds under the macro KY_TEST_DATA.
function(ky_test name)
    cmake_parse_arguments(ARG "SERIAL" "DATA;TIMEOUT" "SOURCES;LINK;LIBS;LABELS;WRAPPER" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINK} ky_test_support ${ARG_LIBS} Qt5::Network
        Qt5::Test)
    target_compile_options(${name} PRIVATE ${KY_TEST_OPTIONS})
    ky_warnings(${name})
    ky_precompile(${name} test)
    # What a test puts in the place of a library's function has to be seen by other libraries.
    set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON
        RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    if(ARG_DATA)
        target_compile_definitions(${name} PRIVATE KY_TEST_DATA="${ARG_DATA}")
    endif()
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_test(NAME ${name} COMMAND ${ARG_WRAPPER} $<TARGET_FILE:${name}>)
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}"
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8;ASAN_OPTIONS=detect_leaks=1:quarantine_size_mb=32;UBSAN_OPTIONS=print_stacktrace=1")
    if(ARG_SERIAL)
        set_tests_properties(${name} PROPERTIES RUN_SERIAL ON)
    endif()
endfunction()

# ky_host_test(tst_name …) is ky_test() for a program that calls the library itself on a simulated
# host: the whole test program runs on one, in the default scene. Its fixture is
# SimulatedHost{SimulatedHost::OfThisProcess}, which comes with it.
function(ky_host_test name)
    cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
    ky_test(${name} ${ARG_UNPARSED_ARGUMENTS} LINK ky_simulated_host ${ARG_LINK}
        LABELS host WRAPPER $<TARGET_FILE:hostsim> run --lang en --)
endfunction()
