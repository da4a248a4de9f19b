#include <CLI/CLI.hpp>
#include <memory>

#include "base/messages.h"
#include "parts/merge.h"
#include "subcommands.h"

void addMerge(CLI::App& program, int& status) {
    CLI::App* command = program.add_subcommand("merge", tr("Puts the parts of a script together"));
    const auto options = std::make_shared<MergeOptions>();
    command->add_option("SCRIPT", options->script, tr("The script"))->required();
    command->add_option("PARTS", options->parts, tr("The part files"))->required();
    command->add_option("-o,--output", options->output, tr("Write a larger part, not the run's results"));
    command->add_option("--log", options->log, tr("File for the console's text in UTF-8"));
    command->add_flag("--force", options->force, tr("Replace a part file that is there"));
    command->callback([options, &status] { status = mergeParts(*options); });
}
