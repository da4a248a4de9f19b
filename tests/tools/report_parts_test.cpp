#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "report/frame_report.h"
#include "report/html_text.h"
#include "report/run_log.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Frames that drift and shake by a pixel, with differences that vary by a tenth.
std::vector<FrameReport> makeFrames(int count) {
    std::vector<FrameReport> frames(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        FrameReport& frame = frames[static_cast<size_t>(i)];
        frame.number = i + 1;
        frame.kept = frame.aligned = true;
        frame.shiftX = 7 * i + i * 5 % 3 - 1;
        frame.shiftY = -3 * i + i * 7 % 3 - 1;
        frame.angle = 0.1 * i;
        frame.after = 1000 + 100 * (i * 3 % 5) / 4.0;
    }
    return frames;
}

std::vector<int64_t> listFlagged(std::vector<FrameReport> frames, const std::string& flag) {
    flagDoubtfulFrames(frames);
    std::vector<int64_t> numbers;
    for (const FrameReport& frame : frames) {
        if (hasFlag(frame, flag)) numbers.push_back(frame.number);
    }
    return numbers;
}

TEST(Doubts, OnlyFramesThatLeaveTheTrendJump) {
    EXPECT_THAT(listFlagged(makeFrames(30), "jump"), IsEmpty());
    for (const int astray : {0, 1, 14, 28, 29}) {  // at the ends the trend is drawn from one side
        std::vector<FrameReport> frames = makeFrames(30);
        frames[static_cast<size_t>(astray)].shiftY += 25;
        EXPECT_THAT(listFlagged(frames, "jump"), ElementsAre(astray + 1));
        frames = makeFrames(30);
        frames[static_cast<size_t>(astray)].angle -= 1;
        EXPECT_THAT(listFlagged(frames, "jump"), ElementsAre(astray + 1));
    }
    std::vector<FrameReport> frames = makeFrames(30);
    frames.erase(frames.begin() + 10, frames.begin() + 20);  // frames left out make a step in the row, not in the trend
    EXPECT_THAT(listFlagged(frames, "jump"), IsEmpty());
    frames = makeFrames(30);
    for (size_t i = 12; i < frames.size(); ++i) frames[i].shiftX -= 90;
    EXPECT_THAT(listFlagged(frames, "jump"), IsEmpty()) << "the mount was moved once";
    for (FrameReport& frame : frames) frame.shiftX = static_cast<int32_t>(frame.number * 7919 % 400);
    EXPECT_THAT(listFlagged(frames, "jump"), IsEmpty()) << "a mount that jumps always has no trend to leave";
    EXPECT_THAT(listFlagged(makeFrames(1), "jump"), IsEmpty());
}

TEST(Doubts, OnlyFramesFarAboveTheOthersAreDifferent) {
    std::vector<FrameReport> frames = makeFrames(20);
    frames[0].after = 0;
    frames[0].flags = {"reference"};
    EXPECT_THAT(listFlagged(frames, "different"), IsEmpty());
    frames[7].after = 2500;
    frames[9].after.reset();
    EXPECT_THAT(listFlagged(frames, "different"), ElementsAre(8));
}

TEST(Doubts, FramesThatTheirAlignmentMadeWorse) {
    std::vector<FrameReport> frames = makeFrames(6);
    for (FrameReport& frame : frames) frame.before = *frame.after;  // nothing had to be moved
    frames[0].before = 0;
    frames[0].flags = {"reference"};
    EXPECT_THAT(listFlagged(frames, "worse"), IsEmpty());
    frames[4].before = 900;
    EXPECT_THAT(listFlagged(frames, "worse"), ElementsAre(5));
    flagDoubtfulFrames(frames);
    EXPECT_TRUE(isDoubtful(frames[4]) && !isDoubtful(frames[0]));
}

TEST(RunLogs, NamesDoNotSpeak) {
    const RunLog log = parseRunLog(
        "Image source: theta=1 DeltaX=3 Fichier resultat: b\n"
        "Traitement de l'image 1 (DeltaX=7   DeltaY=8.bmp)\nChargement du fichier DeltaX=7   DeltaY=8.bmp"
        "Ajustement global : \n******\n\ntheta=-0.250000  DeltaX=-12   DeltaY=4\n\n!!! Attention : la valeur\n"
        "Traitement de l'image 2 (x)\nChargement du fichier xErreur : impossible d'ouvrir l'image x\n"
        "Traitement de l'image 3 (!!! Attention)\nChargement du fichier !!! Attention\nDeltaX=0   DeltaY=-1\n");
    ASSERT_EQ(log.entries.size(), 3U);
    const LogEntry &first = log.entries.at(1), &third = log.entries.at(3);
    EXPECT_EQ(std::tuple(first.aligned, first.shiftX, first.shiftY, first.angle, first.onLimit),
              std::tuple(true, -12, 4, -0.25, true));
    EXPECT_TRUE(!log.entries.at(2).opened && !log.entries.at(2).aligned);
    EXPECT_EQ(std::tuple(third.aligned, third.shiftY, third.onLimit), std::tuple(true, -1, false));
    EXPECT_FALSE(log.finished);
}

TEST(HtmlTexts, AnyBytesBecomeText) {
    EXPECT_EQ(escapeHtml("<a b='\"'>&é€😀\n"), "&lt;a b=&#39;&quot;&#39;&gt;&amp;é€😀\n");
    EXPECT_EQ(escapeHtml("a\x8E\xC3"), "a??") << "Mac OS Roman, and a character that breaks off";
    EXPECT_EQ(escapeHtml("\xC0\xBC\xED\xA0\x80\xF4\x90\x80\x80"), "?????????")
        << "overlong, surrogate, beyond the last";
    EXPECT_EQ(encodeBase64("Man") + encodeBase64("Ma") + encodeBase64("M") + encodeBase64(""), "TWFuTWE=TQ==");
    EXPECT_EQ(encodeBase64("\xFF\xFE\xFD"), "//79");
}

}  // namespace
