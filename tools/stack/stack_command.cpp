#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "base/messages.h"
#include "measure/series_options.h"
#include "stack/stack.h"
#include "subcommands.h"

void addStack(CLI::App& program, int& status) {
    CLI::App* command = program.add_subcommand("stack", tr("Pictures in, a finished sum out: all the rest in one go"));
    command->footer(tr("Example: quillorne-tools stack jupiter/*.png -o jupiter-sum"));
    const auto options = std::make_shared<StackOptions>();
    addSeriesOptions(*command, options->prepare);
    command->add_option("--passes", options->passes, tr("Passes, each laid on the sum of the one before (2; stars: 1)"))
        ->check(CLI::Range(1, 9));
    command->add_flag_callback(
        "--no-bend", [options] { options->bend = false; }, tr("Whole shifts only, in the second pass too"));
    command
        ->add_option("--enlarge", options->enlarge,
                     tr("Enlarge frames for the second pass: 1 or 2 times (2, where the disk is not filled by it)"))
        ->check(CLI::Range(1, 2));
    command->add_option("-j,--jobs", options->cores, tr("Processes at work at the same time (default: one a core)"))
        ->check(CLI::Range(1, 4096));
    const std::map<std::string, Stretch> stretches = {
        {"linear", Stretch::linear}, {"asinh", Stretch::asinh}, {"auto", Stretch::automatic}};
    command->add_option("--stretch", options->stretch, tr("How sum.png is made bright: linear, asinh or auto"))
        ->transform(CLI::CheckedTransformer(stretches))
        ->option_text("TEXT:{linear,asinh,auto}");
    command->callback([options, &status] { status = stackPictures(*options); });
}
