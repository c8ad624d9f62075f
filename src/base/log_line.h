#pragma once

#include <cstdio>
#include <string_view>

namespace pellum {

// Writes `line` and a newline to `stream` in one write and flushes at once.
// Safe from any thread: whole lines never interleave, and scripts and tests
// read them while the program still runs.
void printLine(std::FILE* stream, std::string_view line);

// The program's log: one plain line on standard output, prefixed with the
// component's name and a colon ("AudioRecorder: …"). Every log line of the
// desktop program goes through here.
void logLine(std::string_view line);

// Drops the log's lines while on: for a command whose own report is its
// output (`pellum doctor` sets the backends up only to look at them).
void setLogQuiet(bool quiet);

}  // namespace pellum
