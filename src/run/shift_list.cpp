#include "run/shift_list.h"

#include <cstdio>

#include "core/fatal_error.h"
#include "imageio/output_file.h"
#include "state/run_state.h"

namespace {

constexpr char shiftListName[] = "shift.lst";

// A range of one shift is none: the image has no line.
bool isListed(const GlobalMatch& match) {
    return match.range.minX != match.range.maxX || match.range.minY != match.range.maxY;
}

}  // namespace

void openShiftList() {
    runState.shiftList = createOutputFile(shiftListName);
    if (runState.shiftList == nullptr) {
        std::printf("Erreur : impossible de creer le fichier %s\n", shiftListName);
        fatalError();
    }
}

bool liesOnLimit(const GlobalMatch& match) {
    const ShiftRange& range = match.range;
    return isListed(match) && (match.pose.shiftX == range.minX || match.pose.shiftX == range.maxX ||
                               match.pose.shiftY == range.minY || match.pose.shiftY == range.maxY);
}

void appendToShiftList(const GlobalMatch& match) {
    if (!isListed(match)) return;
    std::fprintf(runState.shiftList, "%i %i ", match.pose.shiftX, match.pose.shiftY);
    if (liesOnLimit(match)) {
        std::printf(
            "\n!!! Attention : la valeur maximum de decalage autoris\x8E"
            "e a ete atteinte.\n");
        std::fprintf(runState.shiftList, "  Non optimal");
    }
    std::fprintf(runState.shiftList, "\n");
    std::fflush(runState.shiftList);  // a run that dies keeps its lines
}

void closeShiftList() {
    const bool failed = std::ferror(runState.shiftList) != 0;
    if (std::fclose(runState.shiftList) == 0 && !failed) return;
    std::printf("Erreur : impossible d'ecrire le fichier %s\n", shiftListName);
    runState.outputFailed = 1;
}
