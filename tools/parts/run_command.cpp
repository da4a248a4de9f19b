#include <CLI/CLI.hpp>
#include <memory>

#include "base/messages.h"
#include "parts/run.h"
#include "subcommands.h"

void addRun(CLI::App& program, int& status) {
    CLI::App* command = program.add_subcommand("run", tr("Runs a script on all cores"));
    const auto options = std::make_shared<RunOptions>();
    command->add_option("SCRIPT", options->script, tr("The script"))->required();
    command->add_option("-j,--jobs", options->cores, tr("Processes at work at the same time (default: one a core)"))
        ->check(CLI::Range(1, 4096));
    command->add_option("--log", options->log, tr("File for the console's text (default: the script's name, .log)"));
    command->add_option("--save-every", options->secondsToSave, tr("Seconds of work that a kill may cost (30)"))
        ->check(CLI::NonNegativeNumber);
    auto* resume = command->add_flag("--resume", options->resume, tr("Go on with what an unfinished run has saved"));
    command->add_flag("--force", options->force, tr("Throw away what an unfinished run has saved"))->excludes(resume);
    command->callback([options, &status] {
        RunSummary summary;
        status = runScript(*options, summary);
        if (status == 0 || status == 1) printRunSummary(summary);
    });
}
