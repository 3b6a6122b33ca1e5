#include "runtime/log.h"

#include "runtime/handles.h"

#include <msiquery.h>

#include <cstdarg>

namespace {

// wvsprintfW takes no buffer size and writes up to 1024 characters on its own,
// so it formats into a scratch buffer of that size; a result that would not fit
// the 520-character line counts as a formatting failure.
constexpr int kcchFormatterLimit = 1024;

int SendRecord(MSIHANDLE hInstall, INSTALLMESSAGE eType, UINT cFields, const wchar_t* szText) {
    // A record that could not be created (0) is still passed on; only the
    // close is skipped for it.
    UniqueMsiHandle hRecord(MsiCreateRecord(cFields));
    MsiRecordSetStringW(hRecord.get(), 0, szText);
    return MsiProcessMessage(hInstall, eType, hRecord.get());
}

LogMirror g_pfnMirror = nullptr;

} // namespace

void SetLogMirror(LogMirror pfnMirror) {
    g_pfnMirror = pfnMirror;
}

void LogMessage(MSIHANDLE hInstall, const wchar_t* szFormat, ...) {
    wchar_t szLine[kcchFormatterLimit + 1];
    va_list args;
    va_start(args, szFormat);
    const int cchWritten = wvsprintfW(szLine, szFormat, args);
    va_end(args);

    const bool fFits = cchWritten >= 0 && cchWritten < kcchLogLine;
    const wchar_t* szSent = fFits ? szLine : L"CA buffer overflow\n";
    // The installer's answer to a log line carries no meaning; it is ignored.
    SendRecord(hInstall, INSTALLMESSAGE_INFO, 0, szSent);
    if (g_pfnMirror != nullptr) {
        g_pfnMirror(szSent);
    }
}

int ShowInstallerMessage(MSIHANDLE hInstall, const wchar_t* szText, UINT uStyle) {
    // Fields 1 and 2 stay empty; the text travels in field 0.
    return SendRecord(hInstall, static_cast<INSTALLMESSAGE>(INSTALLMESSAGE_USER + uStyle), 2,
                      szText);
}
