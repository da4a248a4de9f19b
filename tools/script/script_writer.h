#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A picture to align, with the place of the reference's origin in it.
struct ScriptSource {
    std::string source, result;
    int32_t originX = 0, originY = 0;
};

/// Degrees.
struct AngleRange {
    double smallest = 0, largest = 0, resolution = 0;
};

/// Pixels.
struct BlockSettings {
    int32_t grid = 0, block = 0, maximum = 0;
    double step = 0;
};

/// All that a script says. Every remark is a text of any length; each "why" stands above the line it explains.
struct ScriptPlan {
    std::vector<std::string> introduction;
    std::string reference, referenceWhy;
    int32_t originX = 0, originY = 0;  // of the reference
    int32_t translation = 0;
    std::string translationWhy;
    int32_t optiTranslation = 0;
    std::string optiTranslationWhy;
    std::optional<AngleRange> angle;
    std::string angleWhy;
    std::optional<BlockSettings> blocks;
    std::string blocksWhy;
    std::string composite;  // without extension; empty: no sum
    std::vector<ScriptSource> sources;
    std::vector<std::string> epilogue;
};

/// The script's text. Remarks are folded into lines of Rem:, and what would end a line in them becomes a blank.
[[nodiscard]] std::string makeScript(const ScriptPlan& plan);
