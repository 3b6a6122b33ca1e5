// Elevated tasks registered through the Task Scheduler's COM interface.
#pragma once

#include <string>

// Registers (creates or replaces) the task strTask in the root folder from
// strXml for strUser with an interactive token, logging each failure and the
// success to g_hInstall. 0 when registered, 1 otherwise.
int RegisterTaskXml(const std::wstring& strTask, const std::wstring& strXml,
                    const std::wstring& strUser);

// Registers strTask as a task the local Users group starts at logon, running
// strCommand with the highest available rights.
void CreateLogonElevatedTask(std::wstring strTask, std::wstring strCommand, std::wstring strUser);
