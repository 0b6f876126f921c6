include(GoogleTest)

# ovelo_module(NAME SOURCES ... [USES ...] [PRIVATE_USES ...])
#
# One static library, called ovelo_NAME. USES are the libraries whose headers stand in this module's headers.
function(ovelo_module name)
    cmake_parse_arguments(arg "" "" "SOURCES;USES;PRIVATE_USES" ${ARGN})
    add_library(ovelo_${name} STATIC ${arg_SOURCES})
    target_link_libraries(ovelo_${name} PUBLIC ovelo_flags ${arg_USES} PRIVATE ${arg_PRIVATE_USES})
endfunction()

# ovelo_test(NAME SOURCES ... [USES ...] [LABELS ...] [TIMEOUT seconds] [MAIN file] [WHOLE])
#
# One test program; each GoogleTest case becomes a CTest test, or with WHOLE the program is a single one.
# MAIN names a source with a main function of its own, else GoogleTest's is linked.
function(ovelo_test name)
    cmake_parse_arguments(arg "WHOLE" "TIMEOUT;MAIN" "SOURCES;USES;LABELS" ${ARGN})
    add_executable(${name} ${arg_SOURCES} ${arg_MAIN})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    target_link_libraries(${name} PRIVATE ovelo_flags ${arg_USES} GTest::gmock)
    if(NOT arg_MAIN)
        target_link_libraries(${name} PRIVATE GTest::gmock_main)
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 60)
    endif()
    if(NOT arg_LABELS) # an empty value would be dropped, and the next word taken for the label
        set(arg_LABELS unit)
    endif()
    # One variable only: gtest_discover_tests takes no list. The main functions choose Qt's platform.
    set(environment "GST_REGISTRY=${PROJECT_BINARY_DIR}/gstreamer-registry.bin")
    if(arg_WHOLE)
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES
            TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}" ENVIRONMENT "${environment}")
    else()
        gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
            PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}" ENVIRONMENT "${environment}")
    endif()
endfunction()
