#include "report/run_log.h"

#include <cstdio>
#include <sstream>

namespace {

// Lines are known by their beginning: what else they hold may come from a file name.
void readLine(const std::string& line, RunLog& log, LogEntry*& entry) {
    int32_t number = 0;
    LogEntry found;
    if (std::sscanf(line.c_str(), "Traitement de l'image %d (", &number) == 1) {
        entry = &log.entries[number];
        *entry = LogEntry{};
    } else if (line.starts_with("Fin de l'execution")) {
        log.finished = true;
    } else if (entry == nullptr) {
        return;
    } else if (line.starts_with("Chargement du fichier") &&
               line.find("Erreur : impossible d'ouvrir l'image") != std::string::npos) {
        entry->opened = false;
    } else if (std::sscanf(line.c_str(), "theta=%lf DeltaX=%d DeltaY=%d", &found.angle, &found.shiftX, &found.shiftY) ==
                   3 ||
               std::sscanf(line.c_str(), "DeltaX=%d DeltaY=%d", &found.shiftX, &found.shiftY) == 2) {
        found.aligned = true;
        *entry = found;
    } else if (line.starts_with("!!! Attention")) {
        entry->onLimit = true;
    }
}

}  // namespace

RunLog parseRunLog(const std::string& text) {
    RunLog log;
    LogEntry* entry = nullptr;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) readLine(line, log, entry);
    return log;
}
