// Pure text for the task XML rewriters. No <windows.h>.
#pragma once

#include <ctime>
#include <string>

// The local date and time as a task's StartBoundary holds it:
// "<year>-MM-DDTHH:MM:SS", every part after the year two digits (the Task
// Scheduler reads two digits each).
std::wstring FormatStartBoundary(const std::tm& time);
