// The boot loader's environment, where the board keeps its network settings.
// It is read and written through the board programs printubenv and setubenv.
#pragma once

#include <string>

// Seconds a board program may take before it counts as hung.
constexpr unsigned int UBENV_PROGRAM_SECONDS = 10;

// Runs "printubenv NAME" and takes the value it prints (a leading "NAME="
// is dropped, as is everything from the first line end). False, after
// "GetUbVar failed: %s\n" (mask 4), if the program fails.
bool GetUbVar(const char* name, std::string& value);

// Runs "setubenv NAME VALUE" and waits for it. False, after
// "SetUbVar failed: %s, %s\n" (mask 4), if it fails, or at once if the
// value holds anything but letters, digits and ".:_-" (the command line goes
// through a shell).
bool SetUbVar(const char* name, const std::string& value);
