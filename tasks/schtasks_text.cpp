#include "tasks/schtasks_text.h"

#include "system/process_text.h"

std::wstring BuildCreateTaskCommand(std::wstring_view strTask, std::wstring_view strXmlPath) {
    return BoundCommandLine(std::wstring(L"schtasks /Create /TN \"")
                                .append(strTask)
                                .append(L"\" /XML \"")
                                .append(strXmlPath)
                                .append(L"\""),
                            kcchTaskCommand);
}

std::wstring BuildChangeTaskCommand(std::wstring_view strTask, std::wstring_view strProgram,
                                    std::wstring_view strArgument) {
    return BoundCommandLine(std::wstring(L"schtasks /change /TN \"")
                                .append(strTask)
                                .append(L"\" /TR \"\\\"")
                                .append(strProgram)
                                .append(L"\\\" ")
                                .append(strArgument)
                                .append(L"\""),
                            kcchTaskCommand);
}

std::wstring BuildRunTaskCommand(std::wstring_view strTask) {
    return BoundCommandLine(std::wstring(L"schtasks /run /TN \"").append(strTask).append(L"\""),
                            kcchTaskCommand);
}

std::wstring BuildDeleteTaskCommand(std::wstring_view strTask) {
    return BoundCommandLine(
        std::wstring(L"schtasks /delete /TN \"").append(strTask).append(L"\" /F"), kcchTaskCommand);
}
