# Every export of a Varen_CA DLL enters through a stub whose frame names the crash
# reporter as its exception handler (runtime/crash_report.h). The stubs, and the module
# definition that points each export name at its stub, are generated here from the
# module definitions that list the names, so the names stay listed in one place.
#
# A stub keeps the session handle in its frame for the reporter, calls the action and
# returns its result; the nop keeps the return address out of the epilogue, where the
# system would not look for the frame's handler.
set(VAREN_GUARD_MACRO [=[
__asm__(
    ".macro VAREN_GUARD name\n"
    "    .text\n"
    "    .def VarenGuard_\\name; .scl 2; .type 32; .endef\n"
    "    .globl VarenGuard_\\name\n"
    "    .seh_proc VarenGuard_\\name\n"
    "VarenGuard_\\name:\n"
    "    .seh_handler VarenReportActionFault, @except\n"
    "    subq $40, %rsp\n"
    "    .seh_stackalloc 40\n"
    "    .seh_endprologue\n"
    "    movq %rcx, 32(%rsp)\n"
    "    call \\name\n"
    "    nop\n"
    "    addq $40, %rsp\n"
    "    ret\n"
    "    .seh_endproc\n"
    ".endm\n");
]=])

function(varen_guard_exports target)
    set(names)
    foreach(def IN LISTS ARGN)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${def})
        file(STRINGS ${def} lines)
        foreach(line IN LISTS lines)
            string(REGEX REPLACE ";.*" "" line "${line}")
            string(STRIP "${line}" line)
            if(NOT line STREQUAL "" AND NOT line MATCHES "^(LIBRARY|EXPORTS)")
                list(APPEND names ${line})
            endif()
        endforeach()
    endforeach()
    set(stubs "${VAREN_GUARD_MACRO}")
    set(exports "LIBRARY ${target}\nEXPORTS\n")
    foreach(name IN LISTS names)
        string(APPEND stubs "__asm__(\"VAREN_GUARD ${name}\");\n")
        string(APPEND exports "    ${name} = VarenGuard_${name}\n")
    endforeach()
    set(dir ${CMAKE_BINARY_DIR}/guards)
    file(CONFIGURE OUTPUT ${dir}/${target}_guards.c CONTENT "${stubs}" @ONLY)
    file(CONFIGURE OUTPUT ${dir}/${target}.def CONTENT "${exports}" @ONLY)
    target_sources(${target} PRIVATE ${dir}/${target}_guards.c ${dir}/${target}.def)
endfunction()
