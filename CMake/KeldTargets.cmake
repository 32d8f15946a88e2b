# The interface targets that every target of the project links: warnings, and the sanitizers of this build.

add_library(KeldWarnings INTERFACE)
target_compile_options(KeldWarnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
    $<$<BOOL:${KELD_WERROR}>:-Werror>)

add_library(KeldSanitizers INTERFACE)
if(KELD_SANITIZE)
    target_compile_options(KeldSanitizers INTERFACE
        -fsanitize=${KELD_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(KeldSanitizers INTERFACE -fsanitize=${KELD_SANITIZE})
endif()

# What says the same under every compiler (pages, what sources include, the types of the Python package) is tested by
# plain g++ builds for this machine alone. The preset "tidy" sets it, to have those tests looked at.
if(NOT DEFINED KELD_TEST_ONCE)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT KELD_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
        set(KELD_TEST_ONCE ON)
    else()
        set(KELD_TEST_ONCE OFF)
    endif()
endif()
