# Host build: the pure text code and its unit tests under ASan and UBSan.
set(VAREN_SANITIZE -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
add_compile_options(${VAREN_SANITIZE} -g)
option(VAREN_FUZZ "Build libFuzzer targets (needs clang)" OFF)
if(VAREN_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
add_link_options(${VAREN_SANITIZE})

set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(${GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)

add_library(varen_text STATIC ${VAREN_TEXT_SOURCES})
target_include_directories(varen_text PUBLIC ${CMAKE_SOURCE_DIR})
target_compile_options(varen_text PRIVATE ${VAREN_WARNINGS})

file(GLOB VAREN_HOST_TESTS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/host/*_test.cpp)
add_executable(host_tests ${VAREN_HOST_TESTS})
target_link_libraries(host_tests PRIVATE varen_text GTest::gtest_main)
target_compile_options(host_tests PRIVATE ${VAREN_WARNINGS})
add_test(NAME host_tests COMMAND host_tests)
set_tests_properties(host_tests PROPERTIES ENVIRONMENT "ASAN_OPTIONS=detect_leaks=1;UBSAN_OPTIONS=print_stacktrace=1")

# Fuzz targets need clang's libFuzzer; built only when asked for (the "fuzz" preset,
# scripts/fuzz). The text code is then instrumented too, so the fuzzer sees its
# branches.
if(VAREN_FUZZ)
    file(GLOB VAREN_FUZZERS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/fuzz/*_fuzz.cpp)
    add_custom_target(fuzzers)
    foreach(src IN LISTS VAREN_FUZZERS)
        get_filename_component(name ${src} NAME_WE)
        add_executable(${name} EXCLUDE_FROM_ALL ${src})
        target_link_libraries(${name} PRIVATE varen_text)
        target_compile_options(${name} PRIVATE ${VAREN_WARNINGS} -fsanitize=fuzzer)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
        add_dependencies(fuzzers ${name})
    endforeach()
endif()

# Every export has a section in the actions reference, and every section names an export.
add_test(NAME actions_reference COMMAND ${CMAKE_SOURCE_DIR}/tests/check-exports
    ${CMAKE_SOURCE_DIR}/exports/Varen_CA.def ${CMAKE_SOURCE_DIR}/docs/actions.md)

# The committed WiX fragment is what packaging/generate-wxs makes of the reference.
add_test(NAME packaging_fragment COMMAND sh -c
    "${CMAKE_SOURCE_DIR}/packaging/generate-wxs | diff -u ${CMAKE_SOURCE_DIR}/packaging/Varen_CA.wxs - || { echo 'packaging/Varen_CA.wxs is stale: run packaging/generate-wxs > packaging/Varen_CA.wxs'; exit 1; }")
