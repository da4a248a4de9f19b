#include "parts/part_table.h"

#include <array>
#include <cstring>
#include <set>
#include <string>

#include "base/format_text.h"
#include "state/run_state.h"

namespace {

enum Column {
    entryColumn = 1,
    sourceColumn,
    resultColumn,
    shiftXColumn,
    shiftYColumn,
    angleColumn,
    limitColumn,
    openedColumn,
    writtenColumn,
    secondsColumn,
    sizeColumn,
    timeColumn,
    lineColumn,
    consoleColumn,
    columnEnd
};
struct ColumnDefinition {
    const char *name, *form, *unit;
};
constexpr std::array<ColumnDefinition, columnEnd - 1> columns = {{{"ENTRY", "1J", ""},
                                                                  {"SOURCE", "1PA", ""},
                                                                  {"RESULT", "1PA", ""},
                                                                  {"SHIFTX", "1J", "pixel"},
                                                                  {"SHIFTY", "1J", "pixel"},
                                                                  {"ANGLE", "1D", "deg"},
                                                                  {"LIMIT", "1L", ""},
                                                                  {"OPENED", "1L", ""},
                                                                  {"WRITTEN", "1L", ""},
                                                                  {"SECONDS", "1D", "s"},
                                                                  {"SRCSIZE", "1K", "byte"},
                                                                  {"SRCTIME", "1K", "ns"},
                                                                  {"LINE", "1PB", ""},
                                                                  {"CONSOLE", "1PB", ""}}};

// The format's texts are ASCII.
std::string makeAscii(const char* name) {
    std::string ascii;
    for (; *name != '\0'; ++name) {
        const auto byte = static_cast<unsigned char>(*name);
        ascii += byte < 0x20 || byte > 0x7E || byte == '%' ? formatText("%%%02X", byte) : std::string(1, *name);
    }
    return ascii;
}

void writeName(fitsfile* file, int column, LONGLONG row, const char* name, int& status) {
    std::string ascii = makeAscii(name);
    char* text = ascii.data();
    fits_write_col_str(file, column, row, 1, 1, &text, &status);
}

void writeBytes(fitsfile* file, int column, LONGLONG row, const std::string& bytes, int& status) {
    if (bytes.empty()) return;
    fits_write_col(file, TBYTE, column, row, 1, static_cast<LONGLONG>(bytes.size()), const_cast<char*>(bytes.data()),
                   &status);
}

void writeFlag(fitsfile* file, int column, LONGLONG row, bool flag, int& status) {
    char value = flag ? 1 : 0;
    fits_write_col(file, TLOGICAL, column, row, 1, 1, &value, &status);
}

std::string readBytes(fitsfile* file, int column, LONGLONG row, int& status) {
    LONGLONG length = 0, offset = 0, heapSize = 0;
    fits_read_descriptll(file, column, row, &length, &offset, &status);
    int missing = 0;
    fits_read_key(file, TLONGLONG, "PCOUNT", &heapSize, nullptr, &missing);
    if (status == 0 && (length < 0 || length > heapSize)) status = BAD_DIMEN;
    if (status != 0 || length == 0) return {};
    std::string bytes(static_cast<size_t>(length), '\0');
    fits_read_col(file, TBYTE, column, row, 1, length, nullptr, bytes.data(), nullptr, &status);
    return bytes;
}

bool readFlag(fitsfile* file, int column, LONGLONG row, int& status) {
    char value = 0;
    fits_read_col(file, TLOGICAL, column, row, 1, 1, nullptr, &value, nullptr, &status);
    return value != 0;
}

ImageRecord readRecord(fitsfile* file, LONGLONG row, int& status) {
    ImageRecord record;
    ImageFacts& facts = record.facts;
    const auto read = [&](int type, int column, void* value) {
        fits_read_col(file, type, column, row, 1, 1, nullptr, value, nullptr, &status);
    };
    read(TINT, entryColumn, &facts.entry);
    read(TINT, shiftXColumn, &facts.shiftX);
    read(TINT, shiftYColumn, &facts.shiftY);
    read(TDOUBLE, angleColumn, &facts.angle);
    read(TDOUBLE, secondsColumn, &facts.seconds);
    read(TLONG, sizeColumn, &facts.sourceSize);
    read(TLONG, timeColumn, &facts.sourceTime);
    facts.onLimit = readFlag(file, limitColumn, row, status);
    facts.opened = readFlag(file, openedColumn, row, status);
    facts.written = readFlag(file, writtenColumn, row, status);
    record.shiftLine = readBytes(file, lineColumn, row, status);
    record.console = readBytes(file, consoleColumn, row, status);
    return record;
}

bool hasOurColumns(fitsfile* file) {
    int count = 0, status = 0;
    fits_get_num_cols(file, &count, &status);
    for (int column = 1; column <= count && count == columnEnd - 1; ++column) {
        char name[FLEN_VALUE] = "";
        const std::string keyword = "TTYPE" + std::to_string(column);
        fits_read_key(file, TSTRING, keyword.c_str(), name, nullptr, &status);
        if (status != 0 || std::strcmp(name, columns[static_cast<size_t>(column - 1)].name) != 0) return false;
    }
    return status == 0 && count == columnEnd - 1;
}

}  // namespace

void writeRecords(fitsfile* file, const std::vector<ImageRecord>& records, int& status) {
    std::array<char*, columns.size()> names{}, forms{}, units{};
    for (size_t i = 0; i < columns.size(); ++i) {
        names[i] = const_cast<char*>(columns[i].name);
        forms[i] = const_cast<char*>(columns[i].form);
        units[i] = const_cast<char*>(columns[i].unit);
    }
    fits_create_tbl(file, BINARY_TBL, static_cast<LONGLONG>(records.size()), columns.size(), names.data(), forms.data(),
                    units.data(), "IMAGES", &status);
    LONGLONG row = 0;
    for (const ImageRecord& record : records) {
        ++row;
        ImageFacts facts = record.facts;
        const auto write = [&](int type, int column, void* value) {
            fits_write_col(file, type, column, row, 1, 1, value, &status);
        };
        write(TINT, entryColumn, &facts.entry);
        writeName(file, sourceColumn, row, runState.sourceNames[facts.entry], status);
        writeName(file, resultColumn, row, runState.resultNames[facts.entry], status);
        write(TINT, shiftXColumn, &facts.shiftX);
        write(TINT, shiftYColumn, &facts.shiftY);
        write(TDOUBLE, angleColumn, &facts.angle);
        writeFlag(file, limitColumn, row, facts.onLimit, status);
        writeFlag(file, openedColumn, row, facts.opened, status);
        writeFlag(file, writtenColumn, row, facts.written, status);
        write(TDOUBLE, secondsColumn, &facts.seconds);
        write(TLONG, sizeColumn, &facts.sourceSize);
        write(TLONG, timeColumn, &facts.sourceTime);
        writeBytes(file, lineColumn, row, record.shiftLine, status);
        writeBytes(file, consoleColumn, row, record.console, status);
    }
    fits_write_chksum(file, &status);
}

bool readRecords(fitsfile* file, int32_t imageCount, std::vector<ImageRecord>& records) {
    int status = 0;
    char name[] = "IMAGES";
    LONGLONG rows = 0;
    std::set<int32_t> entries;
    fits_movnam_hdu(file, BINARY_TBL, name, 0, &status);
    fits_get_num_rowsll(file, &rows, &status);
    if (status != 0 || rows > imageCount || !hasOurColumns(file)) return false;
    for (LONGLONG row = 1; row <= rows && status == 0; ++row) {
        records.push_back(readRecord(file, row, status));
        const int32_t entry = records.back().facts.entry;
        if (entry < 1 || entry > imageCount || !entries.insert(entry).second) return false;
    }
    return status == 0;
}
