#include <cstring>
#include <utility>

#include "scenes.h"
#include "script/script_reader.h"
#include "state/run_state.h"

namespace {

using namespace std::string_literals;

// Reads such a script and returns what it echoed after the name of the script.
std::string readLines(const std::string& text) {
    enterScratchFolder();
    writeFile("script.txt", text);
    std::strcpy(runState.scriptPath, "script.txt");
    delete[] std::exchange(runState.referenceName, nullptr);
    testing::internal::CaptureStdout();
    readScript();
    return testing::internal::GetCapturedStdout().substr(
        std::strlen("Lecture des parametres\n\nFichier de script : script.txt\n\n\n"));
}

TEST(ReadScript, EchoesEveryLine) {
    const std::string unknown = "*********** Commande inconnue ligne ",
                      noSource = "Commande source sans nom de fichier ",
                      sequence = "Nom generique de la sequence entree: v   sortie: r   Debut=";
    const std::pair<std::string, std::string> cases[] = {
        {"source: a:1.bmp,b%s.bmp , -5x", "Image source: a:1.bmp Fichier resultat: b%s.bmp Point x0=-5\n"},
        {"Source a.bmp\n", "Image source: a.bmp " + noSource + "resultat. Ligne 1\n\n"},
        {"\n : \nSource\t\nSource \n",
         unknown + "3\n" + noSource + "source. Ligne 4\n" + noSource + "resultat. Ligne 4\n\n"},
        {"Sourcesbmp v r 9 9\n", sequence + "9  Fin=9\nsource: v9.bmp -> resultat: r9.bmp\n"},
        {"sourcesbmp v r 2 1\n", sequence + "2  Fin=1\n"},
        {"Sourcesbmp v r\n", sequence.substr(0, 50) + "   Pas de numero de debutPas de numero de fin\n"},
        {"Reference a.bmp 1 2\nreference b.bmp\n",
         "Image de reference: a.bmp Point x0=1 y0=2\nAttention: plusieurs commande reference dans le m\x90me fichier\n"
         "Image de reference: b.bmp\n"},
        {"Reference \n", "Commande reference sans nom de fichier. Ligne 1\n\n"},
        {"compositage \n", "Commande compositage sans nom de fichier. Ligne 1\n\n"},
        {"Dimension libre\n", "La taille de sortie des images peut \x90tre differente de la taille d'origine\n"},
        {"dimension LIBRE\nDimension \n",
         "La taille de sortie des images sera la meme que la taille d'origine\n ***** Pas encore implemente...\n\n"},
        {"OptiTranslation -3\n", "Fraction de l'image prise en compte pour la recherche de translation=1/1  \n"},
        {"Angle -2 2\n", "Angle min=-2.000000  Angle max=2.000000  \n"},
        {"Translation: 20, 0\n", "Decalage global maximum=20   pas=1  \n"},
        {"bloc 32 8 4 0.1\n",
         "Largeur de grille=32  Largeur de recherche=8  Decalage maxi de bloc=4  "
         "Pas de decalage de bloc=0.100000  \n"},
        {"Rem\nRem anything\nSou\0rce a\n Quitter"s, unknown + "1\n" + unknown + "3\n"},
        {"Quitter\r\n\tQuitter \nQuitter\n", unknown + "1\n" + unknown + "2\n" + unknown + "3\n"},
        {"Rem " + std::string(995, 'x') + "Translation 1 \n", "Decalage global maximum=1  \n"}};
    for (const auto& [script, echo] : cases) EXPECT_EQ(readLines(script), echo) << script;
}

TEST(ReadScript, SetsTheRunState) {
    runState.noWaitAtEnd = 0;
    readLines(
        "Source a b 7\nSourcesbmp v r 9 11\nSource lost\nSource c d\nTranslation 20 3\nTranslation word\n"
        "Angle -180 90 1\nBloc 16 8 4 0.1\nReference x 3 4\nReference y 5\nOptiTranslation 2\nDimension non\nQuitter ");
    const RunState& s = runState;
    EXPECT_EQ(format("images %i, step %i, fraction %i, size %i, no wait %i", s.imageCount, s.shiftStep,
                     s.translationFraction, s.freeOutputSize, s.noWaitAtEnd),
              "images 5, step 3, fraction 2, size 0, no wait 1");
    EXPECT_EQ(format("shift %i %i %i %i, blocks %i %i %i %i %i %i", s.shiftMinX, s.shiftMaxX, s.shiftMinY, s.shiftMaxY,
                     s.blockGridWidth, s.blockSearchWidth, s.blockShiftMinX, s.blockShiftMaxX, s.blockShiftMinY,
                     s.blockShiftMaxY),
              "shift 0 0 0 0, blocks 16 8 -4 4 -4 4");
    EXPECT_EQ(format("entries: x %i %i %i, y %i, reference %i %i, %i %i", s.entryOriginX[1], s.entryOriginXGiven[1],
                     s.entryOriginXGiven[2], s.entryOriginYGiven[1], s.referenceOriginX, s.referenceOriginXGiven,
                     s.referenceOriginY, s.referenceOriginYGiven),
              "entries: x 7 1 0, y 0, reference 5 1, 0 0");
    EXPECT_EQ((std::array{s.angleMin, s.angleMax, s.angleResolution, s.blockShiftStep}),
              (std::array{-3.14159265f, 1.57079633f, 0.01745329252f, 0.1f}));
    EXPECT_STREQ(s.resultNames[4], "r11.bmp");
    EXPECT_STREQ(s.sourceNames[5], "c") << "takes the place of the entry without a result";
    EXPECT_STREQ(s.referenceName, "y");
}

TEST(ReadScript, ReplacesValuesThatNoSearchCanUse) {
    for (const char* line : {"Bloc 1 1 1 0\n", "Bloc 1 1 1 -1\n", "Bloc 1 1 1 inf\n", "Bloc 1 1 1 nan\n",
                             "Angle 0 0 -1\n", "Angle 0 0 nan\n"}) {
        EXPECT_THAT(readLines(line), testing::EndsWith("valeur par defaut utilisee. Ligne 1\n")) << line;
        EXPECT_EQ(runState.blockShiftStep, 1.0f) << line;
        EXPECT_EQ(runState.angleResolution, 1.0f) << line;
    }
    EXPECT_EQ(readLines("Translation 99999999999999999999 -4\n"), "Decalage global maximum=2147483647   pas=1  \n");
}

}  // namespace
