// The process frame: start order, the reactor loop, stop order.
#pragma once

extern bool languageDebug;

constexpr const char* kOxGwVersion = "2.02.05";

// Reads the command line: "--silent" alone silences stdout; "--languagedebug"
// as the second of exactly two arguments turns on language debugging.
void OxParseCommandLine(int argc, char** argv);

// Called by the SIGINT handler once the stop has begun: the thread that takes
// SIGINT then blocks it, so a later one stays pending and cannot end the
// process in the middle of its orderly stop.
void OxInterruptTaken();

// Runs the whole process; returns only when the proactor cannot start.
int OxGwMain(int argc, char** argv);
