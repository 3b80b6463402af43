# What every target of this project has in common, and the functions that make targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_library(cutstack_options INTERFACE)
target_include_directories(cutstack_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(cutstack_options INTERFACE
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
    -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wformat=2 -Wimplicit-fallthrough
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wlogical-op -Wuseless-cast>
    # g++ 12 takes a text put before another one for overlapping memory (its bug 105651).
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

# Hardening, where optimisation makes it meaningful and no sanitizer does the work.
if(NOT CUTSTACK_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    target_compile_options(cutstack_options INTERFACE
        -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
        $<$<NOT:$<CONFIG:Release>>:-D_GLIBCXX_ASSERTIONS>)
    target_link_options(cutstack_options INTERFACE -Wl,-z,relro,-z,now)
endif()

if(CUTSTACK_SANITIZE)
    target_compile_options(cutstack_options INTERFACE
        -fsanitize=${CUTSTACK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
    target_link_options(cutstack_options INTERFACE -fsanitize=${CUTSTACK_SANITIZE})
endif()

if(CUTSTACK_FUZZ)
    target_compile_options(cutstack_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

if(CUTSTACK_TIDY)
    find_program(CLANG_TIDY clang-tidy REQUIRED)
    # The compile commands are g++ ones, with warnings that clang does not know.
    set(CMAKE_CXX_CLANG_TIDY ${CLANG_TIDY} --quiet --extra-arg=-Wno-unknown-warning-option)
endif()

# cutstack_library(NAME SOURCES... [LINKS LIBRARY...])
# One step of the program. It may link only libraries of its own folder or of folders below it;
# tests/architecture fails when it doesn't.
function(cutstack_library NAME)
    cmake_parse_arguments(LIB "" "" "LINKS" ${ARGN})
    add_library(${NAME} STATIC ${LIB_UNPARSED_ARGUMENTS})
    target_link_libraries(${NAME} PUBLIC cutstack_options ${LIB_LINKS})
endfunction()

# cutstack_test(NAME SOURCES... [LINKS LIBRARY...])
# A GoogleTest program that ctest runs as one test.
function(cutstack_test NAME)
    cmake_parse_arguments(TEST "" "" "LINKS" ${ARGN})
    add_executable(${NAME} ${TEST_UNPARSED_ARGUMENTS})
    target_link_libraries(${NAME} PRIVATE cutstack_test_support ${TEST_LINKS} GTest::gtest_main)
    target_compile_definitions(${NAME} PRIVATE
        CUTSTACK_TEST_DATA="${PROJECT_SOURCE_DIR}/tests/data")
    set_target_properties(${NAME} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    add_test(NAME ${NAME} COMMAND ${NAME} --gtest_brief=1)
endfunction()
