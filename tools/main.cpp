#include <CLI/CLI.hpp>

#include "base/messages.h"
#include "subcommands.h"

namespace {

// The words of the help that the library puts round ours.
void setHelpWords(CLI::App& program) {
    for (const auto& [word, translated] :
         {std::pair("Usage", tr("Usage")), std::pair("OPTIONS", tr("OPTIONS")),
          std::pair("SUBCOMMAND", tr("SUBCOMMAND")), std::pair("Positionals", tr("Positionals")),
          std::pair("TEXT", tr("TEXT")), std::pair("REQUIRED", tr("REQUIRED"))}) {
        program.get_formatter()->label(word, translated);
    }
    program.group(tr("Subcommands"));
    program.option_defaults()->group(tr("Options"));
    program.set_help_flag("-h,--help", tr("Print this help and end"));
}

}  // namespace

int main(int argumentCount, char** arguments) {
    chooseLanguage();
    CLI::App program(tr("Turns a folder of frames into a finished sum with quillorne."), "quillorne-tools");
    setHelpWords(program);
    program.set_version_flag("--version", "quillorne-tools " QUILLORNE_VERSION, tr("Print the version and end"));
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
