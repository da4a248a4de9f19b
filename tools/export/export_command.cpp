#include <CLI/CLI.hpp>
#include <memory>

#include "base/messages.h"
#include "export/export.h"
#include "subcommands.h"

void addExport(CLI::App& program, int& status) {
    const auto options = std::make_shared<ExportOptions>();
    CLI::App* command = program.add_subcommand("export", tr("Makes a colour FITS, a TIFF and PNG pictures from a sum"));
    command->add_option("SUM", options->sum, tr("The sum: NAME.sums.fit, NAMER.fit or NAME alone"))->required();
    command->add_option("-o,--output", options->output,
                        tr("Path of the pictures without ending, or a folder (otherwise beside the sum)"));
    const std::map<std::string, Stretch> stretches = {
        {"linear", Stretch::linear}, {"asinh", Stretch::asinh}, {"auto", Stretch::automatic}};
    command
        ->add_option("--stretch", options->stretch,
                     tr("Brightness of the picture to look at: linear, asinh, or auto (as it needs)"))
        ->transform(CLI::CheckedTransformer(stretches))
        ->option_text("TEXT:{linear,asinh,auto}");
    const std::map<std::string, bool> crops = {{"common", true}};
    command->add_option("--crop", options->cropCommon, tr("Cut to where all frames reach"))
        ->transform(CLI::CheckedTransformer(crops))
        ->option_text("common");
    command->add_flag("--force", options->force, tr("Replace files that are there"));
    command->footer(tr("Example: quillorne-tools export jupiter-sum/sum.sums.fit --crop common"));
    command->callback([options, &status] { status = exportSum(*options); });
}
