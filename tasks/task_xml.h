// Copies of installed task definitions with the text of one element replaced,
// made with the XmlLite reader and writer over files. Every failure is logged
// to g_hInstall and ends the copy; the caller is told nothing.
#pragma once

#include <string>

// Copies strSource to strDestination with the text of each WorkingDirectory
// element replaced by strFolder.
void RewriteWorkingDirectory(std::wstring strSource, std::wstring strDestination,
                             std::wstring strFolder);

// Copies strSource to strDestination with the non-empty text of each
// StartBoundary element replaced by the local date and time one day from now.
void RewriteStartBoundary(std::wstring strSource, std::wstring strDestination);
