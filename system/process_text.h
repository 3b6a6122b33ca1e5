// Pure text for the process launchers: command lines, their bounded copies, the
// composed launch-failure text and the ShellExecuteEx error messages. No <windows.h>.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The writable command buffers of the TaskKill routines and the plug-in actions.
constexpr size_t kcchToolCommandBuffer = 519;
// The zero-filled command buffer of the command-interpreter actions.
constexpr size_t kcchInterpreterCommandBuffer = 520;

// The text a bounded copy leaves in a buffer of cchBuffer characters: at most
// cchBuffer - 1 characters, the rest cut off (a command that does not fit is run
// cut rather than dropped). An empty text for a buffer of 0.
std::wstring BoundCommandLine(std::wstring_view strCommand, size_t cchBuffer);

// "\n" + strLead + "Failed to lauch >" + command + "<\n Last error return: " +
// the error in decimal + "\n". strLead is "" or "VAREN_CA ".
std::wstring LaunchFailureText(std::wstring_view strLead, std::wstring_view strCommand,
                               unsigned long dwError);

// One pair of quotes around program and arguments together:
// "<folder>\TaskKill.exe /IM VantorSettings.exe /F"
std::wstring BuildKillVantorSettingsCommand(std::wstring_view strSystemFolder);

// The quotes close after the program: "<folder>\TaskKill.exe" /IM <image> /F
std::wstring BuildTaskKillCommand(std::wstring_view strSystemFolder, std::wstring_view strImage);

// The message for a failed ShellExecuteEx by its hInstApp code.
const wchar_t* ShellExecuteErrorMessage(intptr_t iInstApp);
