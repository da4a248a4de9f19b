#include <CLI/CLI.hpp>
#include <memory>

#include "base/messages.h"
#include "measure/prepare.h"
#include "subcommands.h"

void addPrepare(CLI::App& program, int& status) {
    CLI::App* command =
        program.add_subcommand("prepare", tr("Measures pictures; writes frames and a script to align them"));
    command->footer(tr("Example: quillorne-tools prepare jupiter/*.png -o jupiter-sum"));
    const auto options = std::make_shared<PrepareOptions>();
    const auto object = std::make_shared<std::string>("auto");
    const auto scale = std::make_shared<std::vector<double>>();
    command->add_option("pictures", options->pictures, tr("Pictures, films and folders of them"))->required();
    command->add_option("-o,--output", options->folder, tr("The folder to write to"))->required();
    command->add_option("--object", *object, tr("What the frames show: planet, surface, stars or auto"))
        ->check(CLI::IsMember({"planet", "surface", "stars", "auto"}));
    command->add_option("--reference", options->reference, tr("The frame to lay all others on"));
    command->add_option("--keep", options->keep, tr("Keep the sharpest: 60%, 200, all or auto"));
    command->add_option("--scale", *scale, tr("The values that become black and white"))->expected(2);
    CLI::Option* turn = command->add_option("--turn", options->maximumTurn,
                                            tr("Search angles too, up to this many degrees to either side"));
    turn->expected(0, 1)->default_str("0");
    command->add_flag("--bend", options->bend, tr("Bend the frames block by block"));
    command->add_flag("--crop", options->crop, tr("Write only what lies round the object"));
    command->add_flag("--force", options->force, tr("Replace a series prepared before"));
    command->callback([options, object, scale, turn, &status] {
        if (*object == "planet") options->object = ObjectKind::planet;
        if (*object == "surface") options->object = ObjectKind::surface;
        if (*object == "stars") options->object = ObjectKind::stars;
        if (scale->size() == 2) options->scale = {(*scale)[0], (*scale)[1]};
        options->turn = turn->count() > 0;
        status = prepareFrames(*options, nullptr);
    });
}
