#include <CLI/CLI.hpp>

#include "base/messages.h"
#include "subcommands.h"

int main(int argumentCount, char** arguments) {
    chooseLanguage();
    CLI::App program(tr("Turns a folder of frames into a finished sum with quillorne."), "quillorne-tools");
    program.set_version_flag("--version", "quillorne-tools " QUILLORNE_VERSION);
    program.require_subcommand(1);
    int status = 0;
    addPrepare(program, status);
    addCheck(program, status);
    addExport(program, status);
    addReport(program, status);
    addPart(program, status);
    addMerge(program, status);
    addRun(program, status);
    addStack(program, status);
    try {
        program.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? 0 : 2;
    }
    return status;
}
