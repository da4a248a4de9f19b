#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "core/run_state.h"
#include "files.h"
#include "scenes.h"
#include "script/script_reader.h"
#include "script/script_tokens.h"

namespace {

void writeScript(const std::string& text) {
    enterScratchFolder();
    writeFile("script.txt", text);
    std::strcpy(runState.scriptPath, "script.txt");
}

// Reads such a script and returns what it echoed after the name of the script.
std::string readLines(const std::string& text) {
    writeScript(text);
    delete[] std::exchange(runState.referenceName, nullptr);
    testing::internal::CaptureStdout();
    readScript();
    const std::string console = testing::internal::GetCapturedStdout();
    const std::string start = "Lecture des parametres\n\nFichier de script : script.txt\n\n\n";
    EXPECT_EQ(console.substr(0, start.size()), start);
    return console.substr(start.size());
}

TEST(ReadScript, EchoesEveryLine) {
    const std::pair<std::string, std::string> cases[] = {
        {"Source a.bmp b.bmp 320 240\n", "Image source: a.bmp Fichier resultat: b.bmp Point x0=320 y0=240\n"},
        {"source: a:1.bmp,b%s.bmp , -5x", "Image source: a:1.bmp Fichier resultat: b%s.bmp Point x0=-5\n"},
        {"Source a.bmp\n", "Image source: a.bmp Commande source sans nom de fichier resultat. Ligne 1\n\n"},
        {"\n : \nSource\t\nSource \n",
         "*********** Commande inconnue ligne 3\n"
         "Commande source sans nom de fichier source. Ligne 4\nCommande source sans nom de fichier resultat. Ligne "
         "4\n\n"},
        {"Sourcesbmp v r 9 10\n",
         "Nom generique de la sequence entree: v   sortie: r   Debut=9  Fin=10\n"
         "source: v9.bmp -> resultat: r9.bmp\nsource: v10.bmp -> resultat: r10.bmp\n"},
        {"sourcesbmp v r 2 1\n", "Nom generique de la sequence entree: v   sortie: r   Debut=2  Fin=1\n"},
        {"Reference a.bmp 1 2\nreference b.bmp\n",
         "Image de reference: a.bmp Point x0=1 y0=2\n"
         "Attention: plusieurs commande reference dans le m\x90me fichier\nImage de reference: b.bmp\n"},
        {"Reference \nCompositage \n",
         "Commande reference sans nom de fichier. Ligne 1\n\n"
         "Commande compositage sans nom de fichier. Ligne 2\n\n"},
        {"Compositage c.bmp\n", "Image compositee: c.bmp\n"},
        {"Dimension libre\n", "La taille de sortie des images peut \x90tre differente de la taille d'origine\n"},
        {"dimension LIBRE\nDimension \n",
         "La taille de sortie des images sera la meme que la taille d'origine\n"
         " ***** Pas encore implemente...\n\n"},
        {"OptiTranslation -3\n", "Fraction de l'image prise en compte pour la recherche de translation=1/1  \n"},
        {"Angle -2 2\n", "Angle min=-2.000000  Angle max=2.000000  \n"},
        {"Translation: 20, 0\n", "Decalage global maximum=20   pas=1  \n"},
        {"bloc 32 8 4 0.1\n",
         "Largeur de grille=32  Largeur de recherche=8  Decalage maxi de bloc=4  "
         "Pas de decalage de bloc=0.100000  \n"},
        {"Rem\nRem anything\n Quitter", "*********** Commande inconnue ligne 1\n"},
        {"Quitter\r\n\tQuitter \nQuitter\n",
         "*********** Commande inconnue ligne 1\n"
         "*********** Commande inconnue ligne 2\n*********** Commande inconnue ligne 3\n"}};
    for (const auto& [script, echo] : cases) EXPECT_EQ(readLines(script), echo) << script;
}

TEST(ReadScript, SetsTheRunState) {
    runState.noWaitAtEnd = 0;
    readLines(
        "Source a b 7\nSourcesbmp v r 9 11\nSource lost\nSource c d\nTranslation 20 3\nTranslation word\nAngle -180 90 "
        "1\n"
        "Bloc 16 8 4 0.1\nReference x 3 4\nReference y 5\nOptiTranslation 2\nDimension non\nQuitter ");
    const RunState& s = runState;
    ASSERT_EQ(s.imageCount, 5);
    EXPECT_STREQ(s.resultNames[4], "r11.bmp");
    EXPECT_STREQ(s.sourceNames[5], "c") << "takes the place of the entry without a result";
    EXPECT_EQ((std::array{s.entryOriginX[1], s.entryOriginXGiven[1], s.entryOriginYGiven[1], s.entryOriginXGiven[2]}),
              (std::array{7, 1, 0, 0}));
    EXPECT_EQ((std::array{s.shiftMinX, s.shiftMaxX, s.shiftMinY, s.shiftMaxY, s.shiftStep}),
              (std::array{0, 0, 0, 0, 3}));
    EXPECT_EQ((std::array{s.blockGridWidth, s.blockSearchWidth, s.blockShiftMinX, s.blockShiftMaxX, s.blockShiftMinY,
                          s.blockShiftMaxY, s.translationFraction, s.freeOutputSize, s.noWaitAtEnd}),
              (std::array{16, 8, -4, 4, -4, 4, 2, 0, 1}));
    EXPECT_EQ((std::array{s.angleMin, s.angleMax, s.angleResolution, s.blockShiftStep}),
              (std::array{-3.14159265f, 1.57079633f, 0.01745329252f, 0.1f}));
    EXPECT_STREQ(s.referenceName, "y");
    EXPECT_EQ((std::array{s.referenceOriginX, s.referenceOriginXGiven, s.referenceOriginY, s.referenceOriginYGiven}),
              (std::array{5, 1, 0, 0}));
}

TEST(ReadScript, TakesLongLinesInPieces) {
    EXPECT_EQ(readLines("Rem " + std::string(995, 'x') + "Translation 1 \n"), "Decalage global maximum=1  \n");
}

TEST(ReadScript, ReplacesValuesThatNoSearchCanUse) {
    for (const char* line : {"Bloc 1 1 1 0\n", "Bloc 1 1 1 -1\n", "Bloc 1 1 1 inf\n", "Bloc 1 1 1 nan\n",
                             "Angle 0 0 -1\n", "Angle 0 0 nan\n"}) {
        EXPECT_THAT(readLines(line), testing::EndsWith("valeur par defaut utilisee. Ligne 1\n")) << line;
        EXPECT_EQ(runState.blockShiftStep, 1.0f) << line;
        EXPECT_EQ(runState.angleResolution, 1.0f) << line;
    }
    readLines("Translation 99999999999999999999 -4\n");
    EXPECT_EQ((std::array{runState.shiftMinX, runState.shiftMaxX, runState.shiftStep}),
              (std::array{-INT32_MAX, INT32_MAX, 1}));
}

TEST(ReadScript, EndsTheRunWhenTheListIsFull) {
    readLines("Sourcesbmp v r 1 29999\n");
    EXPECT_EQ(runState.imageCount, 29999);
    const std::pair<const char*, const char*> cases[] = {
        {"Sourcesbmp v r 1 29999\nSource a b\n", "Erreur : trop d'images \x88 traiter\n"},
        {"Sourcesbmp v r 0 29999\n", "Trop d'images \x88 traiter\n"},
        {"Sourcesbmp v r -2147483647 2147483647\n", "Trop d'images \x88 traiter\n"}};
    for (const auto& [script, message] : cases) {
        writeScript(script);
        EXPECT_FATAL(readScript(), message);
    }
    std::strcpy(runState.scriptPath, "none.txt");
    EXPECT_FATAL(readScript(), "Impossible d'ouvrir le fichier none.txt\n");
}

}  // namespace
