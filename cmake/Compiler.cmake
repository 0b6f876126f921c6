# Warnings, sanitizers and link flags for everything that is built here.

add_library(ovelo_flags INTERFACE)
target_compile_features(ovelo_flags INTERFACE cxx_std_20)
target_compile_options(ovelo_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    # With -O3 g++ 12 suspects every sum of a short text and a string, without reason.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    $<$<BOOL:${OVELO_WERROR}>:-Werror>)
target_include_directories(ovelo_flags INTERFACE ${PROJECT_SOURCE_DIR}/src)

if(OVELO_SANITIZE)
    add_compile_options(-fsanitize=${OVELO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=${OVELO_SANITIZE})
    if(OVELO_SANITIZE MATCHES address)
        file(READ ${PROJECT_SOURCE_DIR}/tests/lsan.supp OVELO_LSAN_SUPPRESSIONS)
        configure_file(cmake/SanitizerDefaults.cpp.in ${PROJECT_BINARY_DIR}/SanitizerDefaults.cpp @ONLY)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS tests/lsan.supp)
        add_library(ovelo_sanitizer_defaults OBJECT ${PROJECT_BINARY_DIR}/SanitizerDefaults.cpp)
        link_libraries(
            $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:$<TARGET_OBJECTS:ovelo_sanitizer_defaults>>)
    endif()
endif()

# Libraries that a program links but does not call would cost start-up time.
add_link_options(-Wl,--as-needed)
