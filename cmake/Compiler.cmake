# Warnings, sanitizers and link flags for everything that is built here.

add_library(ovelo_flags INTERFACE)
target_compile_features(ovelo_flags INTERFACE cxx_std_20)
target_compile_options(ovelo_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    $<$<BOOL:${OVELO_WERROR}>:-Werror>)
target_include_directories(ovelo_flags INTERFACE ${PROJECT_SOURCE_DIR}/src)

if(OVELO_SANITIZE)
    add_compile_options(-fsanitize=${OVELO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=${OVELO_SANITIZE})
endif()

# Libraries that a program links but does not call would cost start-up time.
add_link_options(-Wl,--as-needed)
