#include <CLI/CLI.hpp>
#include <memory>

#include "base/messages.h"
#include "parts/part.h"
#include "subcommands.h"

namespace {

// Two whole numbers with that character between them.
bool parsePair(const std::string& text, char separator, int& first, int& second) {
    const size_t at = text.find(separator);
    return at != std::string::npos && CLI::detail::lexical_cast(text.substr(0, at), first) &&
           CLI::detail::lexical_cast(text.substr(at + 1), second);
}

}  // namespace

void addPart(CLI::App& program, int& status) {
    CLI::App* command = program.add_subcommand("part", tr("Processes some images of a script, for merge"));
    const auto options = std::make_shared<PartOptions>();
    command->add_option("SCRIPT", options->script, tr("The script"))->required();
    const auto parsePart = [options](const std::vector<std::string>& values) {
        return parsePair(values[0], '/', options->part, options->parts) && options->part >= 1 &&
               options->part <= options->parts;
    };
    const auto parseEntries = [options](const std::vector<std::string>& values) {
        return parsePair(values[0], '-', options->first, options->last) && options->first >= 1 &&
               options->first <= options->last;
    };
    CLI::Option_group* slice = command->add_option_group("slice");
    slice->add_option("--part", parsePart, tr("K/N: the K-th of N slices"))->type_name("K/N");
    slice->add_option("--entries", parseEntries, tr("A-B: the images A to B of the script"))->type_name("A-B");
    slice->require_option(1);
    command->add_option("-o,--output", options->output, tr("The part file (default: named after script and slice)"));
    command->add_flag("--force", options->force, tr("Replace a part file that is there"));
    command->callback([options, &status] { status = processPart(*options); });
}
