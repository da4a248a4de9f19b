// How far pictures are from the scene that they show.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "judging.h"

int main(int argumentCount, char** arguments) {
    if (argumentCount < 3) {
        std::fprintf(stderr, "usage: judge_sum SCENE.fits PICTURE...   (PICTURE: .bmp, .fits or nameR.fit)\n");
        return 2;
    }
    cv::setNumThreads(1);
    constexpr int margin = 24;  // jitter leaves the edges to few frames
    const cv::Mat scene = readPicture(arguments[1]);
    if (scene.channels() != 4) {
        std::fprintf(stderr, "judge_sum: %s is no scene\n", arguments[1]);
        return 2;
    }
    int status = 0;
    for (int i = 2; i < argumentCount; ++i) {
        const cv::Mat picture = readPicture(arguments[i]);
        if (picture.cols <= 2 * margin || picture.rows <= 2 * margin) {
            std::fprintf(stderr, "judge_sum: cannot use %s\n", arguments[i]);
            status = 2;
            continue;
        }
        const Judgement judgement = judgePicture(scene, picture, margin);
        std::printf("%7.3f  middle at %7.2f %7.2f  %s\n", judgement.difference, judgement.x, judgement.y, arguments[i]);
    }
    return status;
}
