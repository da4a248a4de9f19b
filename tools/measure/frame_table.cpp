#include "measure/frame_table.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <sstream>

#include "base/format_text.h"
#include "base/messages.h"
#include "base/part_file.h"

namespace {

constexpr const char* headerLine = "number,source,frame,kept,sharpness,origin_x,origin_y,flags,angle";
constexpr size_t fieldCount = 9;

std::string quoteField(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char letter : text) {
        if (letter == '"') quoted += '"';
        quoted += letter;
    }
    return quoted + '"';
}

// The fields of the row that begins at position, which then stands behind it. Inside quotes everything is text, and two
// quotes are one.
std::vector<std::string> takeRow(const std::string& text, size_t& position) {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (; position < text.size(); ++position) {
        const char letter = text[position];
        if (quoted) {
            if (letter != '"') {
                fields.back() += letter;
            } else if (position + 1 < text.size() && text[position + 1] == '"') {
                fields.back() += text[++position];
            } else {
                quoted = false;
            }
        } else if (letter == '"') {
            quoted = true;
        } else if (letter == ',') {
            fields.emplace_back();
        } else if (letter == '\n') {
            ++position;
            break;
        } else if (letter != '\r') {
            fields.back() += letter;
        }
    }
    return fields;
}

bool parseWhole(const std::string& text, int64_t& value) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool parseDecimalField(const std::string& text, double& value) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool parseRecord(const std::vector<std::string>& fields, FrameRecord& record) {
    if (fields.size() != fieldCount || (fields[3] != "yes" && fields[3] != "no")) return false;
    record.source = fields[1];
    record.frame = fields[2];
    record.kept = fields[3] == "yes";
    std::istringstream words(fields[7]);
    record.flags.assign(std::istream_iterator<std::string>(words), {});
    int64_t originX = 0, originY = 0;
    if (!parseWhole(fields[0], record.number) || !parseDecimalField(fields[4], record.sharpness) ||
        !parseWhole(fields[5], originX) || !parseWhole(fields[6], originY) ||
        !parseDecimalField(fields[8], record.angle) || !std::isfinite(record.angle)) {
        return false;
    }
    record.originX = static_cast<int32_t>(originX);
    record.originY = static_cast<int32_t>(originY);
    return originX == record.originX && originY == record.originY;
}

}  // namespace

bool hasFlag(const FrameRecord& record, const std::string& flag) {
    return std::find(record.flags.begin(), record.flags.end(), flag) != record.flags.end();
}

bool readFrameTable(const std::string& path, std::vector<FrameRecord>& records, std::string& problem) {
    records.clear();
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        problem = formatText(tr("%s cannot be read; run prepare first"), path.c_str());
        return false;
    }
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    size_t position = text.find('\n');
    if (position == std::string::npos || text.compare(0, std::min(position, text.find('\r')), headerLine) != 0) {
        problem = formatText(tr("%s: the first line is not \"%s\"; run prepare again"), path.c_str(), headerLine);
        return false;
    }
    ++position;
    for (int row = 2; position < text.size(); ++row) {
        FrameRecord record;
        if (!parseRecord(takeRow(text, position), record)) {
            problem = formatText(tr("%s: row %d does not hold what the first line says; run prepare again"),
                                 path.c_str(), row);
            records.clear();
            return false;
        }
        records.push_back(record);
    }
    return true;
}

bool writeFrameTable(const std::string& path, const std::vector<FrameRecord>& records) {
    std::string text = std::string(headerLine) + "\n";
    for (const FrameRecord& record : records) {
        std::string flags;
        for (const std::string& flag : record.flags) flags += (flags.empty() ? "" : " ") + flag;
        text += std::to_string(record.number) + "," + quoteField(record.source) + "," + quoteField(record.frame) +
                (record.kept ? ",yes," : ",no,") + formatText("%.4f", record.sharpness) + "," +
                std::to_string(record.originX) + "," + std::to_string(record.originY) + "," + quoteField(flags) +
                formatText(",%.4f\n", record.angle);
    }
    return writeWholeFile(path, text);
}
