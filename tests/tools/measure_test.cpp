#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <set>
#include <sstream>

#include "base/part_file.h"
#include "measure/bmp_frame.h"
#include "measure/frame_table.h"
#include "measure/planet_finding.h"
#include "measure/prepare.h"
#include "measure/selection.h"
#include "measure/sky.h"
#include "measure/star_catalogue.h"
#include "measure/star_matching.h"
#include "measure_scenes.h"
#include "scratch_folder.h"
#include "script/script_writer.h"

namespace fs = std::filesystem;

namespace {

const cv::Size frameSize(640, 480);
constexpr double degree = std::numbers::pi / 180;

// With a place for the frames that go in.
struct WorkFolder : ScratchFolder {
    WorkFolder() { fs::create_directories(at("in")); }
};

PrepareOptions makeOptions(const fs::path& folder) {
    PrepareOptions options;
    options.pictures = {(folder / "in").string()};
    options.folder = (folder / "out").string();
    return options;
}

// One frame as it was made.
struct Truth {
    double x, y, angle;  // of a point of the scene, pixels and radians
    bool visible;        // whole, so that it must be found
};

void saveFrame(const fs::path& folder, size_t number, const cv::Mat& levels) {
    cv::Mat grey, colours;
    levels.convertTo(grey, CV_8U, 1 / 16.0);
    cv::merge(std::vector<cv::Mat>(3, grey), colours);
    ASSERT_TRUE(writeBmpFrame(colours, (folder / "in" / ("n" + std::to_string(number) + ".bmp")).string()));
}

enum class Motion { jumpingPlanet, driftingGround, jumpingGround, driftingStars, turningStars };

struct SeriesCase {
    const char* what;
    Motion motion;
    ObjectKind kind;
    Weather weather;
    size_t leastKept;  // of 16 frames
};

std::vector<Truth> makeSeries(const fs::path& folder, const SeriesCase& series) {
    cv::RNG random(5);
    const cv::Mat ground = drawGround({1500, 1200}, 6);
    const auto stars = scatterStars(frameSize, 400, 450, 7);  // 75 in a frame
    std::vector<Truth> truths;
    for (size_t i = 0; i < 16; ++i) {
        const double step = static_cast<double>(i) - 8;
        Truth truth{0, 0, 0, true};
        cv::Mat scene;
        if (series.motion == Motion::jumpingPlanet) {
            truth = {random.uniform(45.0, 595.0), random.uniform(45.0, 435.0), 0, i != 4 && i != 9};
            if (i == 4) truth.x = 20;    // cut by the border
            if (i == 9) truth.x = -400;  // not there at all
            scene = drawPlanet(frameSize, truth.x, truth.y, {});
        } else if (series.motion == Motion::driftingGround || series.motion == Motion::jumpingGround) {
            const bool drifts = series.motion == Motion::driftingGround;
            const double x = 420 + (drifts ? step * 47.3 : random.uniform(-140.0, 140.0));
            const double y = 350 + (drifts ? step * 11.7 : random.uniform(-100.0, 100.0));
            truth = {-x, -y, 0, true};
            scene = cutGround(ground, frameSize, x, y);
        } else {
            const bool turns = series.motion == Motion::turningStars;
            truth = {320 + 6.3 * step, 240 - 4.1 * step, turns ? 0.1 * step * degree : 0, true};
            scene = drawStars(frameSize, stars, truth.x - 320, truth.y - 240, truth.angle);
        }
        truths.push_back(truth);
        saveFrame(folder, i + 1, takeFrame(scene, series.weather, i));
    }
    return truths;
}

// Where the reference's origin lies in a frame, by the truth.
Place findTruePlace(const Truth& reference, const Truth& frame, const FrameRecord& origin) {
    const Place scene = placeInScene({reference.x, reference.y, reference.angle},
                                     {static_cast<double>(origin.originX), static_cast<double>(origin.originY)});
    return placeInFrame({frame.x, frame.y, frame.angle}, scene);
}

}  // namespace

TEST(Prepare, PlacesEveryFrameWithinAPixelOrLeavesItOut) {
    const Weather calm{.noise = 10, .gradient = 0, .flicker = 0, .leastBlur = 1, .largestBlur = 1, .hotPixels = 0};
    const Weather bad{.noise = 45, .gradient = 400, .flicker = 0.4};
    const SeriesCase cases[] = {
        {"planet, calm", Motion::jumpingPlanet, ObjectKind::planet, calm, 14},
        {"planet, bad", Motion::jumpingPlanet, ObjectKind::planet, bad, 14},
        {"ground drifting by more than its overlap", Motion::driftingGround, ObjectKind::surface, bad, 9},
        {"ground in a shaking hand", Motion::jumpingGround, ObjectKind::surface, bad, 16},
        {"stars, calm", Motion::driftingStars, ObjectKind::stars, calm, 16},
        {"stars, bad", Motion::driftingStars, ObjectKind::stars, bad, 16},
        {"stars turning", Motion::turningStars, ObjectKind::stars, bad, 16},
    };
    for (const SeriesCase& series : cases) {
        SCOPED_TRACE(series.what);
        const WorkFolder folder;
        const auto truths = makeSeries(folder.path, series);
        PreparedSeries prepared;
        const int status = prepareFrames(makeOptions(folder.path), &prepared);
        ASSERT_LE(status, 1);
        EXPECT_EQ(prepared.kind, series.kind);
        ASSERT_EQ(prepared.frames.size(), truths.size());
        const auto reference = static_cast<size_t>(prepared.reference) - 1;
        size_t kept = 0;
        for (size_t i = 0; i < truths.size(); ++i) {
            const FrameRecord& record = prepared.frames[i];
            EXPECT_EQ(record.kept, fs::exists(folder.path / "out" / ("frame" + std::to_string(i + 1) + ".bmp")));
            if (!record.kept) {
                EXPECT_FALSE(record.flags.empty()) << "frame " << i + 1;
                continue;
            }
            ++kept;
            EXPECT_TRUE(truths[i].visible) << "frame " << i + 1 << " was kept";
            const Place place = findTruePlace(truths[reference], truths[i], prepared.frames[reference]);
            EXPECT_NEAR(record.originX, place.x, 1) << "frame " << i + 1;
            EXPECT_NEAR(record.originY, place.y, 1) << "frame " << i + 1;
            if (series.motion == Motion::turningStars) {
                EXPECT_NEAR(prepared.angles[i], (truths[i].angle - truths[reference].angle) / degree, 0.1);
            }
        }
        EXPECT_GE(kept, series.leastKept);
        EXPECT_EQ(status, kept == truths.size() ? 0 : 1);
    }
}

TEST(Prepare, RepairsHotPixelsOfAMovingSeries) {
    const WorkFolder folder;
    const Weather hot{.noise = 20, .hotPixels = 300};
    makeSeries(folder.path, {"", Motion::driftingStars, ObjectKind::stars, hot, 16});
    ASSERT_EQ(prepareFrames(makeOptions(folder.path), nullptr), 0);
    std::ifstream file(folder.path / "out" / "script.txt");
    const std::string script{std::istreambuf_iterator<char>(file), {}};
    const size_t at = script.find(" pixels that stand out");
    ASSERT_NE(at, std::string::npos) << script;
    const int count = std::stoi(script.substr(script.rfind(' ', at - 1)));
    EXPECT_NEAR(count, 300, 45);  // faint ones drown, others stand side by side
}

TEST(Prepare, KeepsWhatIsThereAndLosesOnlyTheDamagedPicture) {
    const WorkFolder folder;
    for (size_t i = 1; i <= 4; ++i) {
        const double x = 100.0 * static_cast<double>(i);
        saveFrame(folder.path, i, takeFrame(drawPlanet(frameSize, x, 200, {}), {}, i));
    }
    fs::resize_file(folder.path / "in" / "n3.bmp", 20);
    PrepareOptions options = makeOptions(folder.path);
    options.reference = "n2.bmp";
    options.crop = true;
    PreparedSeries prepared;
    ASSERT_EQ(prepareFrames(options, &prepared), 1);
    EXPECT_THAT(prepared.frames[2].flags, testing::ElementsAre("unreadable"));
    EXPECT_EQ(prepared.reference, 2);
    EXPECT_LT(prepared.width, 250);
    EXPECT_EQ(fs::file_size(folder.path / "out" / "frame1.bmp"),
              54U + static_cast<size_t>((prepared.width * 3 + 3) / 4 * 4 * prepared.height));

    EXPECT_EQ(prepareFrames(options, nullptr), 2) << "a second time, without --force";
    options.force = true;
    options.reference = "n4.bmp";
    EXPECT_EQ(prepareFrames(options, &prepared), 1);
    EXPECT_EQ(prepared.reference, 4);
    options.folder = (folder.path / "in").string();
    EXPECT_EQ(prepareFrames(options, nullptr), 2) << "into the folder of the pictures";
    for (const auto& entry : fs::recursive_directory_iterator(folder.path))
        EXPECT_NE(entry.path().extension(), ".part");
}

TEST(PlanetFinding, IsNotMovedByWhatLiesBeside) {
    const PlanetScene scenes[] = {{.radius = 8},
                                  {.radius = 35, .halo = 0.25},
                                  {.radius = 190, .moons = false},
                                  {.radius = 20, .halo = 0, .brightness = 200}};
    for (const PlanetScene& scene : scenes) {
        for (const double gradient : {0.0, 800.0}) {
            const cv::Mat frame = takeFrame(drawPlanet(frameSize, 300.4, 250.7, scene), {.gradient = gradient}, 3);
            const PlanetFix fix = findPlanet(makeGrey(frame));
            ASSERT_TRUE(fix.found) << scene.radius;
            EXPECT_NEAR(fix.x, 300.4, 0.6) << "radius " << scene.radius << ", gradient " << gradient;
            EXPECT_NEAR(fix.y, 250.7, 0.6) << "radius " << scene.radius << ", gradient " << gradient;
            EXPECT_FALSE(fix.cut);
        }
    }
    // A crescent in its own glare: the lit part is the object, wherever it stands.
    std::set<int> offsets;
    for (const double x : {120.0, 333.0, 520.0}) {
        const PlanetScene crescent{.radius = 50, .phase = 0.35};
        const PlanetFix fix = findPlanet(makeGrey(takeFrame(drawPlanet(frameSize, x, 200, crescent), {}, 4)));
        offsets.insert(static_cast<int>(std::lround(2 * (fix.x - x))));
    }
    EXPECT_LE(*offsets.rbegin() - *offsets.begin(), 1) << "half pixels";
    EXPECT_FALSE(findPlanet(makeGrey(takeFrame(cv::Mat::zeros(frameSize, CV_32F), {}, 5))).area > 30);
}

TEST(StarMatching, LetsNoStandingPixelsWin) {
    cv::RNG random(9);
    std::vector<Star> first, second;
    for (int i = 0; i < 60; ++i) {
        const Star hot{random.uniform(0.0, 640.0), random.uniform(0.0, 480.0), 50, 1};
        first.push_back(hot);
        second.push_back(hot);
    }
    EXPECT_TRUE(matchStars(first, second, 0, 0.05)) << "all stand still: a field that is tracked";
    for (int i = 0; i < 40; ++i) {
        const Star star{random.uniform(0.0, 640.0), random.uniform(0.0, 480.0), 40, 0.5};
        const Place moved = placeInFrame({12, -7, 0.02}, {star.x, star.y});
        first.push_back(star);
        second.push_back({moved.x, moved.y, 40, 0.5});
    }
    const auto match = matchStars(first, second, 0, 0.05);
    ASSERT_TRUE(match);
    EXPECT_NEAR(match->pose.x, 12, 0.01);
    EXPECT_NEAR(match->pose.y, -7, 0.01);
    EXPECT_NEAR(match->pose.angle, 0.02, 1e-4);
    for (Star& star : second) star = {random.uniform(0.0, 640.0), random.uniform(0.0, 480.0), 40, 0.5};
    EXPECT_FALSE(matchStars(first, second, 0, 0.05)) << "nothing in common";
}

// Frames of a field that turns and drifts, fast or slowly, the second half of them laid on a key frame that was 0.15
// degree off, and as many pixels as stars that stand still in all.
TEST(StarCatalogue, TakesTheKeyFramesErrorsAway) {
    cv::RNG random(11);
    std::vector<Place> scene, hotPixels;
    for (int i = 0; i < 100; ++i) scene.push_back({random.uniform(-100.0, 740.0), random.uniform(-100.0, 580.0)});
    for (int i = 0; i < 60; ++i) hotPixels.push_back({random.uniform(0.0, 640.0), random.uniform(0.0, 480.0)});
    for (const double speed : {1.0, 0.05}) {
        std::vector<MeasuredFrame> frames(20);
        std::vector<Pose> truths;
        for (size_t i = 0; i < frames.size(); ++i) {
            const double t = speed * static_cast<double>(i);
            truths.push_back({6.3 * t, -4.1 * t, 0.1 * degree * t});
            for (const Place& star : scene) {
                const Place place = placeInFrame(truths.back(), star);
                if (!cv::Rect({}, frameSize).contains({static_cast<int>(place.x), static_cast<int>(place.y)})) continue;
                frames[i].stars.push_back({place.x + random.gaussian(0.5), place.y + random.gaussian(0.5), 40, 0.5});
            }
            for (const Place& pixel : hotPixels) frames[i].stars.push_back({pixel.x, pixel.y, 60, 1});
            frames[i].tracked.pose = truths.back();
            if (i >= 10) frames[i].tracked.pose.angle += 0.15 * degree;
        }
        frames[4].flags.emplace_back("unmatched");
        frames[4].tracked.pose = {};
        layOnAllStars(frames, frameSize);
        EXPECT_EQ(frames[4].tracked.pose.x, 0) << "frames that are left out stay as they are";
        for (size_t i = 0; i < frames.size(); ++i) {
            if (i == 4) continue;
            const double turn = frames[i].tracked.pose.angle - frames[0].tracked.pose.angle;
            EXPECT_NEAR(turn, truths[i].angle, 0.06 * degree) << "frame " << i << ", speed " << speed;
            EXPECT_GT(frames[i].angleError / degree, 0.005);
            EXPECT_LT(frames[i].angleError / degree, 0.04);
            // The middle of the first frame, in this one.
            const Place middle = placeInFrame(truths[i], placeInScene(truths[0], {320, 240}));
            const Place found = placeInFrame(frames[i].tracked.pose, placeInScene(frames[0].tracked.pose, {320, 240}));
            EXPECT_LT(std::hypot(found.x - middle.x, found.y - middle.y), 0.4) << "frame " << i << ", speed " << speed;
        }
    }
}

TEST(FrameTable, KeepsNamesThatNeedQuotes) {
    const WorkFolder folder;
    const std::string path = (folder.path / "frames.csv").string();
    FrameRecord first, second;
    first.number = 1;
    first.source = "a, \"b\"\nc.ser#12";
    first.frame = "frame1.bmp";
    first.kept = true;
    first.sharpness = 12.25;
    first.originX = -3;
    first.originY = 700;
    first.angle = -1.5;
    first.flags = {"reference", "clipped"};
    second.number = 2;
    ASSERT_TRUE(writeFrameTable(path, {first, second}));
    std::vector<FrameRecord> read;
    std::string problem;
    ASSERT_TRUE(readFrameTable(path, read, problem)) << problem;
    ASSERT_EQ(read.size(), 2U);
    EXPECT_EQ(read[0].source, first.source);
    EXPECT_EQ(read[0].originX, -3);
    EXPECT_EQ(read[0].sharpness, 12.25);
    EXPECT_EQ(read[0].angle, -1.5);
    EXPECT_TRUE(hasFlag(read[0], "clipped"));
    EXPECT_FALSE(read[1].kept);

    const std::string header = "number,source,frame,kept,sharpness,origin_x,origin_y,flags,angle\n";
    for (const char* damaged : {"", "number\n", "1,a,b,yes,1,2\n", "1,a,b,maybe,1,2,3,,0\n", "x,a,b,yes,1,2,3,,0\n",
                                "1,a,b,yes,1,99999999999,3,,0\n", "1,a,b,yes,1,2,3,,nan\n", "1,\"a,b,yes,1,2,3,,0\n"}) {
        const bool alone = std::string(damaged).empty() || damaged[0] == 'n';
        ASSERT_TRUE(writeWholeFile(path, (alone ? "" : header) + damaged));
        EXPECT_FALSE(readFrameTable(path, read, problem)) << damaged;
        EXPECT_TRUE(read.empty());
    }
}

TEST(KeepRule, TakesTheSharpestAndTheReference) {
    for (const char* wrong : {"", "0", "-3", "120%", "some", "60 %", "1.5", "nan"})
        EXPECT_FALSE(parseKeepRule(wrong)) << wrong;
    struct {
        const char* rule;
        std::vector<int> kept;
    } const cases[] = {{"all", {0, 1, 2, 3, 4}}, {"40%", {1, 2, 4}}, {"2", {1, 2, 4}}, {"200", {0, 1, 2, 3, 4}}};
    for (const auto& [rule, kept] : cases) {
        std::vector<MeasuredFrame> frames(5);
        for (size_t i = 0; i < 5; ++i) frames[i].sharpness = std::array{1.0, 5.0, 4.0, 2.0, 3.0}[i];
        flagByRank(frames, 4, *parseKeepRule(rule));
        std::vector<int> left;
        for (int i = 0; i < 5; ++i)
            if (isGood(frames[static_cast<size_t>(i)])) left.push_back(i);
        EXPECT_EQ(left, kept) << rule;
    }
    // Without noise one frame is best; in noise as many as there are.
    for (const auto& [noise, least, most] :
         {std::tuple{0.0, 1L, 1L}, std::tuple{1000.0, 40L, 40L}, std::tuple{6.0, 5L, 35L}}) {
        std::vector<MeasuredFrame> frames(40);
        for (size_t i = 0; i < 40; ++i) {
            frames[i].sharpness = 10 - 0.1 * static_cast<double>(i);
            frames[i].detail = {frames[i].sharpness, noise, noise, 100};
        }
        flagByRank(frames, 0, *parseKeepRule("auto"));
        const auto count = std::count_if(frames.begin(), frames.end(), isGood);
        EXPECT_GE(count, least) << noise;
        EXPECT_LE(count, most) << noise;
    }
}

TEST(ScriptWriter, FoldsRemarksIntoLinesThatTheReaderTakes) {
    ScriptPlan plan;
    std::string endless;
    for (int i = 0; i < 700; ++i) endless += "é";
    plan.introduction = {"one\ntwo\r\nSource: evil.bmp evil.bmp", endless, std::string(300, 'x') + " tail"};
    plan.reference = "frame2.bmp";
    plan.angle = AngleRange{-1.5, 2, 0.05};
    plan.blocks = BlockSettings{26, 8, 4, 0.5};
    plan.sources = {{"frame1.bmp", "aligned1.bmp", -4, 9}};
    const std::string script = makeScript(plan);
    std::istringstream lines(script);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LT(line.size(), 900U);
        EXPECT_FALSE(line.starts_with("Rem: ") && (static_cast<unsigned char>(line[5]) & 0xC0U) == 0x80U)
            << "cut in a letter";
        EXPECT_FALSE(line.starts_with("Source: evil"));
    }
    EXPECT_THAT(script, testing::HasSubstr("\nAngle: -1.5 2 0.05\n"));
    EXPECT_THAT(script, testing::HasSubstr("\nBloc: 26 8 4 0.5\n"));
    EXPECT_THAT(script, testing::HasSubstr("\nSource: frame1.bmp aligned1.bmp -4 9\n"));
    EXPECT_THAT(script, testing::EndsWith("\nQuitter:\n"));
}
