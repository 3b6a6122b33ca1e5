# Cross build: Varen_CA.dll, its Wine test programs and benchmarks, all in the
# top of the build tree so that test programs load the DLL from their own folder.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

# Everything static but the system DLLs: no libstdc++, libgcc or libssp DLLs.
set(VAREN_HARDENING -fstack-protector-strong)
set(VAREN_LINK_HARDENING -static -fstack-protector-strong -Wl,--dynamicbase,--high-entropy-va,--nxcompat)
add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)

# The installer loads the DLL afresh for every action, and with it every system DLL
# of its import table that the installer's process does not already hold. setupapi
# and xmllite serve a few actions only: they are bound on first call, through
# delay-load import libraries that dlltool makes at configure time from the entry
# points the library calls (runtime/delay_load.cpp loads them from the system folder).
find_program(VAREN_DLLTOOL ${VAREN_TRIPLE}-dlltool REQUIRED)
set(VAREN_DELAY_LIBS)
foreach(dll IN ITEMS setupapi xmllite)
    set(def ${CMAKE_SOURCE_DIR}/cmake/${dll}.def)
    set(lib ${CMAKE_BINARY_DIR}/lib${dll}_delay.a)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${def})
    execute_process(COMMAND ${VAREN_DLLTOOL} -d ${def} -y ${lib} COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND VAREN_DELAY_LIBS ${lib})
endforeach()

# taskschd is a static library of the Task Scheduler's class and interface IDs
# (the service itself is reached through COM, not imported).
set(VAREN_SYSTEM_LIBS msi advapi32 shell32 shlwapi ole32 oleaut32 user32 version
    ${VAREN_DELAY_LIBS} taskschd)

# The library's code is built once as objects: linked into the DLL, and into
# white-box test programs that call helpers below the exports directly.
file(GLOB VAREN_DLL_SOURCES CONFIGURE_DEPENDS ${VAREN_ALL_GLOBS})
add_library(varen_core OBJECT ${VAREN_DLL_SOURCES})
target_include_directories(varen_core PUBLIC ${CMAKE_SOURCE_DIR})
# Optimised for size: actions are short, registry- and process-bound, and the DLL
# travels inside every package.
target_compile_options(varen_core PRIVATE ${VAREN_WARNINGS} ${VAREN_HARDENING} -Os -ffunction-sections -fdata-sections)
target_link_libraries(varen_core PUBLIC ${VAREN_SYSTEM_LIBS})
target_link_options(varen_core INTERFACE -fstack-protector-strong)

include(${CMAKE_CURRENT_LIST_DIR}/ActionGuards.cmake)
add_library(Varen_CA SHARED $<TARGET_OBJECTS:varen_core>)
varen_guard_exports(Varen_CA ${CMAKE_SOURCE_DIR}/exports/Varen_CA.def)
set_target_properties(Varen_CA PROPERTIES PREFIX "" OUTPUT_NAME Varen_CA)
# The map names what each object brings into the image (scripts/bench prints the largest).
# Sections start on page boundaries in the file as in memory, so that the loader can
# map the image as it stands; with the default 512-byte file alignment Wine reads it
# section by section at every load, which was most of what loading a cheap action's
# DLL cost once its import table held only DLLs the installer has loaded already.
target_link_options(Varen_CA PRIVATE ${VAREN_LINK_HARDENING} -Wl,--gc-sections -s
    -Wl,--file-alignment=0x1000 -Wl,-Map=${CMAKE_BINARY_DIR}/Varen_CA.map)
# With -fdata-sections the toolchain gives each zero-initialised object a .data
# section of its own, written out in full: the crash reporter's static buffers put
# some 60 KB of zeros into the file. Without it they go to .bss.
set_source_files_properties(${CMAKE_SOURCE_DIR}/runtime/crash_report.cpp PROPERTIES
    COMPILE_OPTIONS -fno-data-sections)
target_link_libraries(Varen_CA PRIVATE ${VAREN_SYSTEM_LIBS})

include(${CMAKE_CURRENT_LIST_DIR}/WineTests.cmake)

# varen-ca-run: calls one export in an installer session and shows its lines, return
# and changes; --help lists the exports with their contracts, taken from the reference.
set(VAREN_HELP_HEADER ${CMAKE_BINARY_DIR}/generated/packaging/actions_help.h)
add_custom_command(OUTPUT ${VAREN_HELP_HEADER}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/generated/packaging
    COMMAND awk -v header=${VAREN_HELP_HEADER} -f ${CMAKE_SOURCE_DIR}/packaging/contracts.awk
        ${CMAKE_SOURCE_DIR}/docs/actions.md
    DEPENDS ${CMAKE_SOURCE_DIR}/docs/actions.md ${CMAKE_SOURCE_DIR}/packaging/contracts.awk
    VERBATIM)
add_executable(varen-ca-run ${CMAKE_SOURCE_DIR}/packaging/varen-ca-run.cpp
    ${CMAKE_SOURCE_DIR}/packaging/msi_session.cpp ${VAREN_HELP_HEADER})
target_include_directories(varen-ca-run PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/generated)
target_compile_options(varen-ca-run PRIVATE ${VAREN_WARNINGS})
target_link_options(varen-ca-run PRIVATE -static -municode)
target_link_libraries(varen-ca-run PRIVATE msi advapi32 rpcrt4 ole32)
add_dependencies(varen-ca-run Varen_CA)
