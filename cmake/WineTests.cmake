# Wine test bench: GoogleTest programs cross-built and run by CTest under Wine in a
# private 64-bit prefix inside the build tree. The prefix is made afresh by the
# fixture test "wine_prefix" at the start of every CTest run that needs it.
set(VAREN_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/scripts/wine-run)
set(VAREN_WINE_ENV "WINEPREFIX=${VAREN_WINEPREFIX}")

set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(gtest_disable_pthreads ON CACHE BOOL "" FORCE)
add_subdirectory(${GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)

add_test(NAME wine_prefix COMMAND ${CMAKE_SOURCE_DIR}/scripts/wine-prefix create ${VAREN_WINEPREFIX})
add_test(NAME wine_prefix_stop COMMAND ${CMAKE_SOURCE_DIR}/scripts/wine-prefix stop ${VAREN_WINEPREFIX})
set_tests_properties(wine_prefix PROPERTIES FIXTURES_SETUP wine)
set_tests_properties(wine_prefix_stop PROPERTIES FIXTURES_CLEANUP wine)

# A program that records its command line, used in place of the tools actions start.
add_executable(standin ${CMAKE_SOURCE_DIR}/tests/support/standin.cpp)
target_compile_options(standin PRIVATE ${VAREN_WARNINGS})
target_link_options(standin PRIVATE -static -municode)

# A service whose behaviour a test sets through its binary path's arguments.
add_executable(varen_service ${CMAKE_SOURCE_DIR}/tests/support/test_service.cpp)
target_compile_options(varen_service PRIVATE ${VAREN_WARNINGS})
target_link_options(varen_service PRIVATE -static -municode)
target_link_libraries(varen_service PRIVATE advapi32)

file(GLOB VAREN_SUPPORT_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/support/*_support.cpp)
add_library(varen_test_support STATIC ${VAREN_SUPPORT_SOURCES}
    ${CMAKE_SOURCE_DIR}/packaging/msi_session.cpp)
target_include_directories(varen_test_support PUBLIC ${CMAKE_SOURCE_DIR})
target_compile_options(varen_test_support PRIVATE ${VAREN_WARNINGS})
target_link_libraries(varen_test_support PUBLIC GTest::gtest ${VAREN_SYSTEM_LIBS} rpcrt4 ntdll)

# Every test program declares Windows 10 support, so GetVersionExW reports 10.0.
set(VAREN_TEST_MANIFEST_RC ${CMAKE_SOURCE_DIR}/tests/support/win10.rc)

# The action cases (tests/cases/*.cpp, in the format of tests/support/cases.h), all in
# one program that drives the built DLL only: no second copy of the library to patch
# by mistake. It runs in two passes: the Windows 10 pass, and the Windows 7 cases with the
# prefix switched for them.
file(GLOB VAREN_CASE_SOURCES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/cases/*.cpp)
add_executable(cases_test ${VAREN_CASE_SOURCES} ${VAREN_TEST_MANIFEST_RC})
target_link_libraries(cases_test PRIVATE varen_test_support GTest::gtest_main)
target_compile_options(cases_test PRIVATE ${VAREN_WARNINGS})
target_link_options(cases_test PRIVATE -static)
add_dependencies(cases_test Varen_CA standin varen_service)
configure_file(${CMAKE_SOURCE_DIR}/exports/Varen_CA.def ${CMAKE_BINARY_DIR}/Varen_CA.def COPYONLY)
add_test(NAME cases COMMAND cases_test --gtest_filter=-Win7_*:Sweep_*)
add_test(NAME cases_win7 COMMAND ${CMAKE_SOURCE_DIR}/scripts/wine-prefix win7 ${VAREN_WINEPREFIX}
    $<TARGET_FILE:cases_test> --gtest_filter=Win7_*)
set_tests_properties(cases cases_win7 PROPERTIES FIXTURES_REQUIRED wine RESOURCE_LOCK wineprefix
    ENVIRONMENT "${VAREN_WINE_ENV}" TIMEOUT 600)
# The hostile-input sweep in a prefix of its own: what the actions make of such input
# is not cleaned up after them, so it must not meet the other cases.
set(VAREN_SWEEP_PREFIX ${CMAKE_BINARY_DIR}/wineprefix-sweep)
add_test(NAME wine_prefix_sweep COMMAND ${CMAKE_SOURCE_DIR}/scripts/wine-prefix create ${VAREN_SWEEP_PREFIX})
add_test(NAME wine_prefix_sweep_stop COMMAND ${CMAKE_SOURCE_DIR}/scripts/wine-prefix stop ${VAREN_SWEEP_PREFIX})
set_tests_properties(wine_prefix_sweep PROPERTIES FIXTURES_SETUP wine_sweep)
set_tests_properties(wine_prefix_sweep_stop PROPERTIES FIXTURES_CLEANUP wine_sweep)
add_test(NAME cases_sweep COMMAND cases_test --gtest_filter=Sweep_*)
set_tests_properties(cases_sweep PROPERTIES FIXTURES_REQUIRED wine_sweep RESOURCE_LOCK wineprefix_sweep
    ENVIRONMENT "WINEPREFIX=${VAREN_SWEEP_PREFIX}" TIMEOUT 600)


# The test build of the library for the crash reporter's tests: the same objects, every
# export of Varen_CA.dll, and exports that fault on purpose. Varen_CA.dll never has them.
add_library(Varen_CA_test SHARED $<TARGET_OBJECTS:varen_core>
    ${CMAKE_SOURCE_DIR}/tests/diagnostics/fault_exports.cpp)
target_include_directories(Varen_CA_test PRIVATE ${CMAKE_SOURCE_DIR})
target_compile_options(Varen_CA_test PRIVATE ${VAREN_WARNINGS} -Os)
set_target_properties(Varen_CA_test PROPERTIES PREFIX "")
target_link_options(Varen_CA_test PRIVATE ${VAREN_LINK_HARDENING} -Wl,--gc-sections -s)
target_link_libraries(Varen_CA_test PRIVATE ${VAREN_SYSTEM_LIBS})
varen_guard_exports(Varen_CA_test ${CMAKE_SOURCE_DIR}/exports/Varen_CA.def
    ${CMAKE_SOURCE_DIR}/tests/diagnostics/fault_exports.def)

# A stand-in for the install manager's optional logging library (runtime/external_log.h).
add_library(vlmlog_standin SHARED ${CMAKE_SOURCE_DIR}/tests/diagnostics/vlmlog_standin.cpp)
set_target_properties(vlmlog_standin PROPERTIES PREFIX "")
target_compile_options(vlmlog_standin PRIVATE ${VAREN_WARNINGS})
target_link_options(vlmlog_standin PRIVATE -static)
add_dependencies(cases_test vlmlog_standin probe_ca Varen_CA_test)

# The DLL's imports and exports, checked from the host with objdump.
add_test(NAME dll_image COMMAND ${CMAKE_SOURCE_DIR}/tests/check-exports
    ${CMAKE_SOURCE_DIR}/exports/Varen_CA.def ${CMAKE_BINARY_DIR}/Varen_CA.dll)

# End-to-end: packages built with msitools and installed through msiexec. The
# probe DLL stands in for deferred partners that are not part of Varen_CA.
add_library(probe_ca SHARED ${CMAKE_SOURCE_DIR}/tests/e2e/probe_ca.cpp)
set_target_properties(probe_ca PROPERTIES PREFIX "")
# Built like the DLL, so that scripts/bench can use it as the size baseline.
target_compile_options(probe_ca PRIVATE ${VAREN_WARNINGS} -Os -ffunction-sections -fdata-sections)
target_link_options(probe_ca PRIVATE ${VAREN_LINK_HARDENING} -Wl,--gc-sections -s
    -Wl,--file-alignment=0x1000)
target_link_libraries(probe_ca PRIVATE msi)
file(GLOB VAREN_E2E_TESTS CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/e2e/*.test)
foreach(script IN LISTS VAREN_E2E_TESTS)
    get_filename_component(name ${script} NAME_WE)
    add_test(NAME e2e_${name} COMMAND bash ${script} ${CMAKE_BINARY_DIR})
    set_tests_properties(e2e_${name} PROPERTIES FIXTURES_REQUIRED wine RESOURCE_LOCK wineprefix
        ENVIRONMENT "${VAREN_WINE_ENV}" TIMEOUT 300)
endforeach()

# Benchmarks: built with the rest, run by scripts/bench (never as tests).
# The per-call baseline of bench/action_cost.bench: one export, built like the DLL.
add_library(return_ca SHARED ${CMAKE_SOURCE_DIR}/bench/return_ca.cpp ${CMAKE_SOURCE_DIR}/bench/return_ca.def)
set_target_properties(return_ca PROPERTIES PREFIX "")
target_compile_options(return_ca PRIVATE ${VAREN_WARNINGS} -Os -ffunction-sections -fdata-sections)
target_link_options(return_ca PRIVATE ${VAREN_LINK_HARDENING} -Wl,--gc-sections -s
    -Wl,--file-alignment=0x1000)
file(GLOB VAREN_BENCHES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/bench/*_bench.cpp)
foreach(src IN LISTS VAREN_BENCHES)
    get_filename_component(name ${src} NAME_WE)
    add_executable(${name} ${src} ${VAREN_TEST_MANIFEST_RC})
    target_link_libraries(${name} PRIVATE varen_test_support)
    target_compile_options(${name} PRIVATE ${VAREN_WARNINGS})
    target_link_options(${name} PRIVATE -static)
    add_dependencies(${name} Varen_CA)
endforeach()
