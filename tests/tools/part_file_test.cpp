#include <fitsio.h>
#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>

#include "parts/console_text.h"
#include "parts/image_part.h"
#include "parts/part_seal.h"
#include "scratch_folder.h"
#include "state/run_state.h"

// A forged header makes CFITSIO ask for more memory than there is. It looks at what it gets: let it get nothing.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

namespace {

constexpr int32_t sumWidth = 7, sumHeight = 5, imageCount = 9;
char name[] = "caf\xC3\xA9 100%.bmp";

// A run state of so many images, and what its parts have in common.
RunIdentity prepareRun(bool hasComposite) {
    for (int32_t entry = 1; entry <= imageCount; ++entry)
        runState.sourceNames[entry] = runState.resultNames[entry] = name;
    static char composite[] = "sum";
    runState.compositeName = hasComposite ? composite : nullptr;
    return {.script = "script's digest",
            .reference = "reference's digest",
            .images = imageCount,
            .width = hasComposite ? sumWidth : 0,
            .height = hasComposite ? sumHeight : 0};
}

std::vector<ImageRecord> makeRecords(int32_t first, int32_t last) {
    std::vector<ImageRecord> records;
    for (int32_t entry = first; entry <= last; ++entry) {
        ImageFacts facts{.entry = entry,
                         .shiftX = -entry,
                         .shiftY = 1 << entry,
                         .angle = 0.1 * entry,
                         .seconds = 0.5,
                         .sourceSize = entry % 2 == 0 ? -1 : int64_t{5'000'000'000},
                         .sourceTime = 1'700'000'000'123'456'789 + entry,
                         .opened = entry % 2 == 1,
                         .written = entry % 3 == 0,
                         .onLimit = entry % 5 == 0};
        const std::string zeros("a\0b\n\x8E\xFF", 6);
        records.push_back({facts, entry % 2 == 0 ? "" : "3 -2 \n", entry % 4 == 0 ? "" : zeros});
    }
    return records;
}

// Every value another one, so that a swapped plane or a turned picture shows.
std::vector<CompositeSum> makeSums(uint32_t factor) {
    std::vector<CompositeSum> sums;
    for (uint32_t i = 0; i < sumWidth * sumHeight; ++i)
        sums.push_back({factor * i, factor * (i + 40), factor * (i + 80), factor});
    return sums;
}

TEST(PartFile, GivesBackWhatWasWritten) {
    for (const bool hasComposite : {true, false}) {
        const RunIdentity identity = prepareRun(hasComposite);
        const ScratchFolder scratch;
        const std::string path = scratch.at("part[1].fit");  // no pattern of the library's
        const auto sums = makeSums(3);
        const auto records = makeRecords(2, 8);
        ASSERT_EQ(writePart(path, identity, records, hasComposite ? sums.data() : nullptr), "");
        std::vector<ImageRecord> read;
        ASSERT_EQ(readPartRecords(path, identity, read), "");
        ASSERT_EQ(read.size(), records.size());
        for (size_t i = 0; i < read.size(); ++i) {
            const ImageFacts &a = read[i].facts, &b = records[i].facts;
            EXPECT_EQ(read[i].console, records[i].console);
            EXPECT_EQ(read[i].shiftLine, records[i].shiftLine);
            EXPECT_TRUE(a.entry == b.entry && a.shiftX == b.shiftX && a.shiftY == b.shiftY && a.angle == b.angle &&
                        a.sourceSize == b.sourceSize && a.sourceTime == b.sourceTime && a.opened == b.opened &&
                        a.written == b.written && a.onLimit == b.onLimit)
                << "record " << i;
        }
        if (!hasComposite) continue;
        auto total = makeSums(2);
        ASSERT_EQ(addPartSums(path, identity, read.size(), total.data()), "");
        EXPECT_EQ(std::memcmp(total.data(), makeSums(5).data(), total.size() * sizeof(CompositeSum)), 0);
    }
}

TEST(PartFile, IsStandardFits) {
    const RunIdentity identity = prepareRun(true);
    const ScratchFolder scratch;
    const std::string path = scratch.at("standard.fit");
    const auto sums = makeSums(1);
    ASSERT_EQ(writePart(path, identity, makeRecords(1, 3), sums.data()), "");
    fitsfile* file = nullptr;
    int status = 0, count = 0, type = 0;
    fits_open_diskfile(&file, path.c_str(), READONLY, &status);
    fits_get_num_hdus(file, &count, &status);
    EXPECT_EQ(count, 3);
    for (int number = 1; number <= 2; ++number) {
        int data = 0, header = 0;
        fits_movabs_hdu(file, number, &type, &status);
        fits_verify_chksum(file, &data, &header, &status);
        EXPECT_TRUE(data == 1 && header == 1) << "unit " << number;
    }
    fits_movabs_hdu(file, 1, &type, &status);
    int32_t corner = 0;  // the first sample is the bottom row's of the red plane
    fits_read_img(file, TINT, 1, 1, nullptr, &corner, nullptr, &status);
    EXPECT_EQ(corner, (sumHeight - 1) * sumWidth + 80);
    fits_close_file(file, &status);
    EXPECT_EQ(status, 0);
}

// Sums that no such number of images can give.
TEST(PartFile, RefusesImpossibleSums) {
    const RunIdentity identity = prepareRun(true);
    const ScratchFolder scratch;
    const std::string path = scratch.at("impossible.fit");
    for (const uint32_t value : {uint32_t{3 * 255 + 1}, uint32_t{0xFFFFFFFF}}) {
        auto sums = makeSums(1);
        sums[11].sumGreen = value;
        ASSERT_EQ(writePart(path, identity, makeRecords(1, 3), sums.data()), "");
        EXPECT_THAT(addPartSums(path, identity, 3, sums.data()), testing::HasSubstr("damaged"));
    }
}

// Bytes that are wrong under a seal that is right, as somebody might make them: refused or read, and nothing else.
TEST(PartFile, SurvivesForgedBytes) {
    const RunIdentity identity = prepareRun(true);
    const ScratchFolder scratch;
    const std::string path = scratch.at("forged.fit");
    const auto sums = makeSums(1);
    ASSERT_EQ(writePart(path, identity, makeRecords(1, 9), sums.data()), "");
    std::ifstream input(path, std::ios::binary);
    std::string good(std::istreambuf_iterator<char>(input), {});
    good.resize(good.size() - 2880);  // without the seal
    std::mt19937 random(7);
    int accepted = 0;
    for (int round = 0; round < 300; ++round) {
        std::string bytes = good;
        for (unsigned flips = 1 + random() % 4; flips > 0; --flips) {
            bytes[random() % bytes.size()] = static_cast<char>(round % 2 == 0 ? random() : '0' + random() % 10);
        }
        if (round % 10 == 0) bytes.resize(random() % bytes.size() / 2880 * 2880);
        std::ofstream(path, std::ios::binary) << bytes;
        ASSERT_TRUE(bytes.empty() || sealFile(path));
        std::vector<ImageRecord> records;
        std::vector<CompositeSum> total(sums.size());
        if (!readPartRecords(path, identity, records).empty()) continue;
        ASSERT_LE(records.size(), size_t{imageCount});
        accepted += addPartSums(path, identity, records.size(), total.data()).empty();
    }
    EXPECT_GT(accepted, 0);  // in blank cards and bytes of text nothing can be seen
}

TEST(ConsoleText, KeepsTheNamesOfTheUser) {
    const struct {
        const char *what, *console, *text;
    } cases[] = {{"the program's letters",
                  "autoris\x8E"
                  "e m\x90me \x88 traiter",
                  "autoris\u00E9e m\u00EAme \u00E0 traiter"},
                 {"a name whose second byte is such a letter", "(\u00CEle\u00C8.bmp)", "(\u00CEle\u00C8.bmp)"},
                 {"three and four bytes", "\u2190\U0001F390", "\u2190\U0001F390"},
                 {"bytes that are no UTF-8 stay", "\xE9t\xE9 \xFF \xC3", "\xE9t\xE9 \xFF \xC3"}};
    for (const auto& [what, console, text] : cases) EXPECT_EQ(convertConsole(console), text) << what;
}

}  // namespace
