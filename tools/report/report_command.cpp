#include <CLI/CLI.hpp>
#include <memory>

#include "base/messages.h"
#include "report/report.h"
#include "subcommands.h"

void addReport(CLI::App& program, int& status) {
    const auto options = std::make_shared<ReportOptions>();
    CLI::App* command = program.add_subcommand("report", tr("Writes a table and a page on what a run did"));
    command->add_option("FOLDER", options->target, tr("A folder that prepare or stack made, or a run's script"))
        ->required();
    command->add_option("--log", options->log,
                        tr("The console of the run (otherwise the script's name with the ending .log)"));
    command->add_option("-o,--output", options->output, tr("Folder for the files (otherwise the script's folder)"));
    command->add_flag("--force", options->force, tr("Replace files that are there"));
    command->footer(tr("Example: quillorne-tools report jupiter-sum"));
    command->callback([options, &status] { status = reportFolder(*options, nullptr); });
}
