#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "base/messages.h"
#include "stack/stack.h"
#include "subcommands.h"

void addStack(CLI::App& program, int& status) {
    CLI::App* command = program.add_subcommand("stack", tr("Pictures in, a finished sum out: all the rest in one go"));
    command->footer(tr("Example: quillorne-tools stack jupiter/*.png -o jupiter-sum"));
    const auto options = std::make_shared<StackOptions>();
    const auto object = std::make_shared<std::string>("auto");
    const auto scale = std::make_shared<std::vector<double>>();
    PrepareOptions& prepare = options->prepare;
    command->add_option("pictures", prepare.pictures, tr("Pictures, films and folders of them"))->required();
    command->add_option("-o,--output", prepare.folder, tr("The folder to write to"))->required();
    command->add_option("--object", *object, tr("What the frames show: planet, surface, stars or auto"))
        ->check(CLI::IsMember({"planet", "surface", "stars", "auto"}));
    command->add_option("--reference", prepare.reference, tr("The frame to lay all others on in the first pass"));
    command->add_option("--keep", prepare.keep, tr("Keep the sharpest: 60%, 200, all or auto"));
    command->add_option("--scale", *scale, tr("The values that become black and white"))->expected(2);
    CLI::Option* turn =
        command->add_option("--turn", prepare.maximumTurn,
                            tr("Search angles too, up to this many degrees to either side; one pass, no bending"));
    turn->expected(0, 1)->default_str("0");
    command->add_flag("--crop", prepare.crop, tr("Work only on what lies round the object"));
    command->add_flag("--force", prepare.force, tr("Replace a series prepared before"));
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
        ->transform(CLI::CheckedTransformer(stretches));
    command->callback([options, object, scale, turn, &status] {
        PrepareOptions& chosen = options->prepare;
        if (*object == "planet") chosen.object = ObjectKind::planet;
        if (*object == "surface") chosen.object = ObjectKind::surface;
        if (*object == "stars") chosen.object = ObjectKind::stars;
        if (scale->size() == 2) chosen.scale = {(*scale)[0], (*scale)[1]};
        chosen.turn = turn->count() > 0;
        status = stackPictures(*options);
    });
}
