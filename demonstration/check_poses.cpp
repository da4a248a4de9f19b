// Sets the places and turns of frames that quillorne-tools found beside what is true of them.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

using Row = std::map<std::string, std::string>;

// The names in these tables hold neither commas nor quotation marks.
std::vector<std::string> splitLine(const std::string& line) {
    std::vector<std::string> fields(1);
    for (const char c : line) {
        if (c == ',') {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

std::vector<Row> readTable(const char* path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    const std::vector<std::string> names = splitLine(line);
    std::vector<Row> rows;
    while (std::getline(file, line)) {
        const std::vector<std::string> fields = splitLine(line);
        Row row;
        for (size_t i = 0; i < std::min(names.size(), fields.size()); ++i) row[names[i]] = fields[i];
        rows.push_back(row);
    }
    return rows;
}

double take(const Row& row, const char* name) {
    const auto field = row.find(name);
    return field == row.end() || field->second.empty() ? NAN : std::atof(field->second.c_str());
}

struct Pose {
    double x, y, angle;  // of the reference's origin in the frame; degrees against the reference
};

// Where the scene shows the reference's origin, foundX and foundY in the reference, in another frame. What the air
// moves the object by as a whole is part of its place.
Pose computeTruePose(const Row& reference, const Row& frame, double foundX, double foundY) {
    const double angle = take(frame, "angle") - take(reference, "angle"), radians = angle * 0.017453292519943295;
    const double u = foundX - take(reference, "x") - take(reference, "air_x");
    const double v = foundY - take(reference, "y") - take(reference, "air_y");
    return {take(frame, "x") + take(frame, "air_x") + std::cos(radians) * u - std::sin(radians) * v,
            take(frame, "y") + take(frame, "air_y") + std::sin(radians) * u + std::cos(radians) * v, angle};
}

// One row; false when a frame is used, not marked and off.
bool checkRow(const Row& row, const Pose& truth, double pixels, double degrees) {
    const double x = take(row, "origin_x") + take(row, "shift_x"), y = take(row, "origin_y") + take(row, "shift_y");
    const double offX = x - truth.x, offY = y - truth.y, offAngle = take(row, "angle") - truth.angle;
    const bool near = std::fabs(offX) <= pixels && std::fabs(offY) <= pixels && std::fabs(offAngle) <= degrees;
    const bool kept = row.at("kept") == "yes";
    const bool marked = row.at("flags").find_first_not_of("reference") != std::string::npos;
    const char* verdict = !kept ? "left out" : near ? "" : marked ? "off, and marked" : "wrong";
    std::printf("%5s %8.1f %8.1f %8.2f %8.2f %7.2f %6.2f %6.2f  %s %s\n", row.at("number").c_str(), x, y, offX, offY,
                take(row, "angle"), truth.angle, offAngle, row.at("flags").c_str(), verdict);
    return near || !kept || marked;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 5) {
        std::fprintf(stderr, "usage: check_poses TRUTH.csv TABLE.csv PIXELS DEGREES\n");
        return 2;
    }
    const std::vector<Row> truth = readTable(arguments[1]), table = readTable(arguments[2]);
    const auto reference = std::find_if(table.begin(), table.end(), [](const Row& row) {
        return row.contains("flags") && row.at("flags").find("reference") != std::string::npos;
    });
    if (reference == table.end() || table.size() > truth.size()) {
        std::fprintf(stderr, "check_poses: %s has no reference, or more frames than %s\n", arguments[2], arguments[1]);
        return 2;
    }
    const auto indexOf = [](const Row& row) { return static_cast<size_t>(std::max(1.0, take(row, "number"))) - 1; };
    const double x = take(*reference, "origin_x") + take(*reference, "shift_x");
    const double y = take(*reference, "origin_y") + take(*reference, "shift_y");
    std::printf("frame    place found          off by    angle   true off by\n");
    bool good = true;
    for (const Row& row : table) {
        const Pose pose = computeTruePose(truth[indexOf(*reference)], truth[indexOf(row)], x, y);
        good &= checkRow(row, pose, std::atof(arguments[3]), std::atof(arguments[4]));
    }
    return good ? 0 : 1;
}
