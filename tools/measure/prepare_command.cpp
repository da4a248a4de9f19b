#include <CLI/CLI.hpp>
#include <memory>

#include "base/messages.h"
#include "measure/prepare.h"
#include "measure/series_options.h"
#include "subcommands.h"

void addPrepare(CLI::App& program, int& status) {
    CLI::App* command =
        program.add_subcommand("prepare", tr("Measures pictures; writes frames and a script to align them"));
    command->footer(tr("Example: quillorne-tools prepare jupiter/*.png -o jupiter-sum"));
    const auto options = std::make_shared<PrepareOptions>();
    addSeriesOptions(*command, *options);
    command->add_flag("--bend", options->bend, tr("Bend the frames block by block"));
    command->callback([options, &status] { status = prepareFrames(*options, nullptr); });
}
