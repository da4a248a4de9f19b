#include "script/script_commands.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "core/fatal_error.h"
#include "script/script_tokens.h"
#include "state/run_state.h"

namespace {

char* copyName(const char* name) {
    const size_t size = std::strlen(name) + 1;
    char* copy = new char[size];
    std::memcpy(copy, name, size);
    return copy;
}

void replaceName(char*& name, char* replacement) {
    delete[] name;
    name = replacement;
}

char* makeNumberedName(const char* genericName, int32_t number) {
    const size_t size = std::strlen(genericName) + sizeof "-2147483648.bmp";
    char* name = new char[size];
    std::snprintf(name, size, "%s%i%s", genericName, number, ".bmp");
    return name;
}

// A name, echoed by its format; without one the complaint and the line number. Returns whether the name was there.
bool takeName(char*& name, const char* echo, const char* complaint, int32_t lineNumber) {
    const char* argument = takeArgument();
    if (argument == nullptr) {
        std::printf("%s. Ligne %i\n", complaint, lineNumber);
        return false;
    }
    replaceName(name, copyName(argument));
    std::printf("%s%s", echo, name);
    return true;
}

// A coordinate of an origin. Without one the value is left alone.
int32_t takeCoordinate(int32_t& value, const char* echo) {
    const char* argument = takeArgument();
    if (argument == nullptr) return 0;
    value = parseInteger(argument);
    std::printf("%s%i", echo, value);
    return 1;
}

void addSource(int32_t lineNumber) {
    const int32_t n = runState.imageCount + 1;
    if (n >= imageListSize) {
        std::printf("Erreur : trop d'images \x88 traiter\n");
        fatalError();
    }
    const bool hasSource =
        takeName(runState.sourceNames[n], "Image source: ", "Commande source sans nom de fichier source", lineNumber);
    if (hasSource) std::printf(" ");
    const bool hasResult = takeName(runState.resultNames[n],
                                    "Fichier resultat: ", "Commande source sans nom de fichier resultat", lineNumber);
    runState.entryOriginXGiven[n] = takeCoordinate(runState.entryOriginX[n], " Point x0=");
    runState.entryOriginYGiven[n] = takeCoordinate(runState.entryOriginY[n], " y0=");
    std::printf("\n");
    if (hasSource && hasResult) runState.imageCount = n;  // otherwise the next line takes this entry again
}

void addNumberedSources(const char* genericSource, const char* genericResult, int32_t first, int32_t last) {
    if (runState.imageCount + (int64_t{last} - first) + 1 >= imageListSize) {
        std::printf("Trop d'images \x88 traiter\n");
        fatalError();
    }
    for (int64_t number = first; number <= last; ++number) {
        const int32_t n = ++runState.imageCount;
        replaceName(runState.sourceNames[n], makeNumberedName(genericSource, static_cast<int32_t>(number)));
        replaceName(runState.resultNames[n], makeNumberedName(genericResult, static_cast<int32_t>(number)));
        runState.entryOriginXGiven[n] = 0;
        runState.entryOriginYGiven[n] = 0;
        std::printf("source: %s -> resultat: %s\n", runState.sourceNames[n], runState.resultNames[n]);
    }
}

void addSequence(int32_t lineNumber) {
    const char* genericSource = takeArgument();
    if (genericSource != nullptr) {
        std::printf("Nom generique de la sequence entree: %s   ", genericSource);
    } else {
        std::printf("Commande source sans nom de fichier source. Ligne %i\n", lineNumber);
    }
    const char* genericResult = takeArgument();
    if (genericResult != nullptr) {
        std::printf("sortie: %s   ", genericResult);
    } else {
        std::printf("Commande source sans nom de fichier de sortie. Ligne %i\n", lineNumber);
    }
    const char* first = takeArgument();
    if (first != nullptr) {
        std::printf("Debut=%i  ", parseInteger(first));
    } else {
        std::printf("Pas de numero de debut");
    }
    const char* last = takeArgument();
    if (last != nullptr) {
        std::printf("Fin=%i\n", parseInteger(last));
    } else {
        std::printf("Pas de numero de fin\n");
    }
    // Of a sequence that is not whole nothing is added.
    if (genericSource == nullptr || genericResult == nullptr || first == nullptr || last == nullptr) return;
    addNumberedSources(genericSource, genericResult, parseInteger(first), parseInteger(last));
}

void setReference(int32_t lineNumber) {
    if (runState.referenceName != nullptr) {
        std::printf("Attention: plusieurs commande reference dans le m\x90me fichier\n");
    }
    takeName(runState.referenceName, "Image de reference: ", "Commande reference sans nom de fichier", lineNumber);
    runState.referenceOriginX = runState.referenceOriginY = 0;
    runState.referenceOriginXGiven = takeCoordinate(runState.referenceOriginX, " Point x0=");
    runState.referenceOriginYGiven = takeCoordinate(runState.referenceOriginY, " y0=");
    std::printf("\n");
}

void setComposite(int32_t lineNumber) {
    takeName(runState.compositeName, "Image compositee: ", "Commande compositage sans nom de fichier", lineNumber);
    std::printf("\n");
}

void setOutputSize(int32_t) {
    const char* mode = takeArgument();
    if (mode != nullptr) {
        runState.freeOutputSize = std::strcmp(mode, "Libre") == 0 || std::strcmp(mode, "libre") == 0 ? 1 : 0;
        if (runState.freeOutputSize == 1) {
            std::printf("La taille de sortie des images peut \x90tre differente de la taille d'origine");
        } else {
            std::printf("La taille de sortie des images sera la meme que la taille d'origine");
            std::printf("\n ***** Pas encore implemente...");
        }
    }
    std::printf("\n");
}

void setTranslationFraction(int32_t) {
    if (const char* divisor = takeArgument()) {
        const int32_t value = parseInteger(divisor);
        runState.translationFraction = value <= 0 ? 1 : value;
        std::printf("Fraction de l'image prise en compte pour la recherche de translation=1/%i  ",
                    runState.translationFraction);
    }
    std::printf("\n");
}

// An angle, given and echoed in degrees, kept in radians.
void takeAngle(float& radians, const char* echo) {
    const char* argument = takeArgument();
    if (argument == nullptr) return;
    const float degrees = parseDecimal(argument);
    std::printf("%s%f  ", echo, static_cast<double>(degrees));
    radians = static_cast<float>(static_cast<double>(degrees) * radiansPerDegree);
}

void warnOfDefault(const char* what, int32_t lineNumber) {
    std::printf("Attention : %s invalide, valeur par defaut utilisee. Ligne %i\n", what, lineNumber);
}

void setAngles(int32_t lineNumber) {
    takeAngle(runState.angleMin, "Angle min=");
    takeAngle(runState.angleMax, "Angle max=");
    takeAngle(runState.angleResolution, "Resolution=");
    std::printf("\n");
    if (runState.angleResolution < 0.0f || std::isnan(runState.angleResolution)) {
        runState.angleResolution = 1.0f;
        warnOfDefault("resolution angulaire", lineNumber);
    }
}

void setTranslation(int32_t) {
    if (const char* maximum = takeArgument()) {
        const int32_t shift = parseInteger(maximum);
        std::printf("Decalage global maximum=%i  ", shift);
        runState.shiftMinX = runState.shiftMinY = -shift;
        runState.shiftMaxX = runState.shiftMaxY = shift;
    }
    if (const char* step = takeArgument()) {
        const int32_t value = parseInteger(step);
        runState.shiftStep = value <= 0 ? 1 : value;
        std::printf(" pas=%i  ", runState.shiftStep);
    }
    std::printf("\n");
}

void setBlocks(int32_t lineNumber) {
    if (const char* gridWidth = takeArgument()) {
        runState.blockGridWidth = parseInteger(gridWidth);
        std::printf("Largeur de grille=%i  ", runState.blockGridWidth);
    }
    if (const char* searchWidth = takeArgument()) {
        runState.blockSearchWidth = parseInteger(searchWidth);
        std::printf("Largeur de recherche=%i  ", runState.blockSearchWidth);
    }
    if (const char* maximum = takeArgument()) {
        const int32_t shift = parseInteger(maximum);
        std::printf("Decalage maxi de bloc=%i  ", shift);
        runState.blockShiftMinX = runState.blockShiftMinY = -shift;
        runState.blockShiftMaxX = runState.blockShiftMaxY = shift;
    }
    if (const char* step = takeArgument()) {
        runState.blockShiftStep = parseDecimal(step);
        std::printf("Pas de decalage de bloc=%f  ", static_cast<double>(runState.blockShiftStep));
    }
    std::printf("\n");
    if (!(runState.blockShiftStep > 0.0f) || std::isinf(runState.blockShiftStep)) {
        runState.blockShiftStep = 1.0f;
        warnOfDefault("pas de decalage de bloc", lineNumber);
    }
}

void skipRemark(int32_t) {}

void endWithoutWaiting(int32_t) {
    runState.noWaitAtEnd = 1;
}

struct ScriptCommand {
    std::string_view word;
    void (*carryOut)(int32_t lineNumber);
};

constexpr std::array scriptCommands = {
    ScriptCommand{"Source", addSource},
    ScriptCommand{"source", addSource},
    ScriptCommand{"Sourcesbmp", addSequence},
    ScriptCommand{"sourcesbmp", addSequence},
    ScriptCommand{"Reference", setReference},
    ScriptCommand{"reference", setReference},
    ScriptCommand{"Compositage", setComposite},
    ScriptCommand{"compositage", setComposite},
    ScriptCommand{"Dimension", setOutputSize},
    ScriptCommand{"dimension", setOutputSize},
    ScriptCommand{"OptiTranslation", setTranslationFraction},
    ScriptCommand{"optitranslation", setTranslationFraction},
    ScriptCommand{"Optitranslation", setTranslationFraction},
    ScriptCommand{"optiTranslation", setTranslationFraction},
    ScriptCommand{"Angle", setAngles},
    ScriptCommand{"angle", setAngles},
    ScriptCommand{"Translation", setTranslation},
    ScriptCommand{"translation", setTranslation},
    ScriptCommand{"Bloc", setBlocks},
    ScriptCommand{"bloc", setBlocks},
    ScriptCommand{"Rem", skipRemark},
    ScriptCommand{"rem", skipRemark},
    ScriptCommand{"Quitter", endWithoutWaiting},
    ScriptCommand{"quitter", endWithoutWaiting},
};

}  // namespace

bool carryOutCommand(const char* word, int32_t lineNumber) {
    for (const ScriptCommand& command : scriptCommands) {
        if (command.word != word) continue;
        command.carryOut(lineNumber);
        return true;
    }
    return false;
}
