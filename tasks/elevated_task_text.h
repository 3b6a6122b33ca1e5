// Pure text for the elevated tasks: the task definitions handed to the Task
// Scheduler. Names and commands are put in as they are, not escaped. No <windows.h>.
#pragma once

#include <string>
#include <string_view>

// A task without a trigger that runs strCommand with the highest available rights
// when started on demand: one element per line, no indentation, each line ended
// by "\n"; strTask is its description and URI.
std::wstring BuildOnDemandTaskXml(std::wstring_view strTask, std::wstring_view strCommand);

// A task for the local Users group, started at logon, that runs strCommand with
// the highest available rights: two-space indentation, one element per line.
std::wstring BuildLogonTaskXml(std::wstring_view strTask, std::wstring_view strCommand);
