#pragma once

namespace CLI {
class App;
}

// Each subcommand adds its options to the command line, and ends the program's work by setting status when it is the
// one that was asked for: 0 all went well, 1 finished with something left out, 2 nothing done.
void addPrepare(CLI::App& program, int& status);
void addCheck(CLI::App& program, int& status);
void addExport(CLI::App& program, int& status);
void addReport(CLI::App& program, int& status);
void addPart(CLI::App& program, int& status);
void addMerge(CLI::App& program, int& status);
void addRun(CLI::App& program, int& status);
void addStack(CLI::App& program, int& status);
