#pragma once

// Crash report: the stack on stderr, the empty marker file
// "/var/log/debug/backtrace", then exit(-1). Never returns.
[[noreturn]] void backtrace();

// Writes the "press any key" line; does not wait.
void Pause();

// Exercise the crash path: g stores through a null pointer, f calls g.
void f();
void g();
