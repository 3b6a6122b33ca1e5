// The crash reporter. Every export enters through a small stub (generated from the
// module definition at build time, see cmake/ActionGuards.cmake) whose frame names
// VarenReportActionFault as its exception handler. The system calls that handler
// only for an exception that is about to leave the action: a fault, a stack
// overflow, or a C++ exception that no code inside the action caught. It writes one
// report and lets the exception go on to the installer exactly as before: it never
// handles anything, so the installer's own treatment of a crashed custom action
// decides the outcome. On the normal path it costs one call and one store per
// action, and nothing runs.
//
// The report is one record in the installer log of the session the faulting action
// was called with (the handle the stub saw, not g_hInstall); when there is no session
// (a handle of 0) or the installer refuses the record, it is appended to
// "Varen_CA_crash.log" in the temporary folder. Its text:
//   Varen_CA crash report: <action> faulted with exception 0x<code> at <module>+0x<offset>
//     <module>+0x<offset>      one line per frame, from the faulting one outward
// Frames are found with RtlLookupFunctionEntry/RtlVirtualUnwind from the faulting
// context; no symbols, no network.
#pragma once

#include <windows.h>

extern "C" EXCEPTION_DISPOSITION VarenReportActionFault(EXCEPTION_RECORD* pRecord,
                                                        void* pEstablisherFrame, CONTEXT* pContext,
                                                        void* pDispatcherContext);
