#include <CLI/CLI.hpp>
#include <memory>

#include "base/messages.h"
#include "script/script_check.h"
#include "subcommands.h"

void addCheck(CLI::App& program, int& status) {
    CLI::App* command = program.add_subcommand("check", tr("Finds what is wrong with a script before it is run"));
    command->footer(tr("Example: quillorne-tools check script.txt --fix mended.txt"));
    const auto options = std::make_shared<CheckOptions>();
    command->add_option("script", options->script, tr("The script"))->required();
    command->add_option("--fix", options->fixedCopy, tr("Write a copy whose mechanical faults are mended"));
    command->callback([options, &status] { status = checkScript(*options); });
}
