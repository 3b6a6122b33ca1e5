#include "suite/command_text.h"

std::wstring BuildInterpreterCommand(std::wstring_view strHead, std::wstring_view strArgument,
                                     std::wstring_view strTail) {
    std::wstring strCommand(strHead);
    strCommand.append(L"\"").append(strArgument).append(L"\"").append(strTail);
    return strCommand;
}

std::wstring BuildKdbsyncCommand(bool f64BitWindows) {
    const std::wstring strHead = std::wstring(L"Cmd.exe /c start ") +
                                 L"\"QVX Accelerated Video Transcoding device initialization\"" +
                                 L" /min ";
    return BuildInterpreterCommand(strHead,
                                   f64BitWindows ? L"%programfiles(x86)%\\QVX AVT\\bin\\kdbsync.exe"
                                                 : L"%programfiles%\\QVX AVT\\bin\\kdbsync.exe",
                                   L" aml");
}
