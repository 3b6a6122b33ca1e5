// Known folders, as the tests resolve them (Windows, system, 32-bit system, program
// files...): CSIDL_* values.
#pragma once

#include <string>

std::wstring KnownFolder(int iCsidl);
