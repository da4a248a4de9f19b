#include "measure/series_options.h"

#include <cstdlib>

#include "base/messages.h"

namespace {

// A flag that stands alone has this value.
constexpr const char* flagAlone = "true";

std::string checkTurn(const std::string& text) {
    if (text == flagAlone) return "";
    char* end = nullptr;
    const double degrees = std::strtod(text.c_str(), &end);
    return *end == '\0' && degrees > 0 && degrees <= 180
               ? ""
               : tr("takes degrees, more than 0 and up to 180, as in --turn=5");
}

}  // namespace

void addSeriesOptions(CLI::App& command, PrepareOptions& options) {
    command.add_option("pictures", options.pictures, tr("Pictures, films and folders of them"))->required();
    command.add_option("-o,--output", options.folder, tr("The folder to write to"))->required();
    command
        .add_option_function<std::string>(
            "--object",
            [&options](const std::string& name) {
                if (name == "planet") options.object = ObjectKind::planet;
                if (name == "surface") options.object = ObjectKind::surface;
                if (name == "stars") options.object = ObjectKind::stars;
            },
            tr("What the frames show: planet, surface, stars or auto"))
        ->check(CLI::IsMember({"planet", "surface", "stars", "auto"}));
    command.add_option("--reference", options.reference, tr("The frame to lay all others on (in the first pass)"));
    command.add_option("--keep", options.keep, tr("Keep the sharpest: 60%, 200, all or auto"));
    command
        .add_option_function<std::vector<double>>(
            "--scale",
            [&options](const std::vector<double>& scale) {
                options.scale = {scale[0], scale[1]};
            },
            tr("The values that become black and white"))
        ->expected(2);
    const std::string turnWords =
        tr("The frames turn: stars tell by how much, else 2 degrees to either side are searched, or as many");
    // Not an option with a value, which would take the first picture for it.
    command.add_flag("--turn", turnWords)
        ->option_text(tr("[=DEGREES]"))
        ->check(checkTurn)
        ->each([&options](const std::string& text) {
            options.turn = true;
            if (text != flagAlone) options.maximumTurn = std::strtod(text.c_str(), nullptr);
        });
    command.add_flag("--crop", options.crop, tr("Work only on what lies round the object"));
    command.add_flag("--force", options.force, tr("Replace a series prepared before"));
}
